// The curl client's `proxy` for real, on 127.0.0.1: HTTP CONNECT through tinyproxy and SOCKS5
// through microsocks with the collector's certificate still verified end to end, a dead proxy,
// and the environment's https_proxy, followed or ignored.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <future>
#include <optional>
#include <string>

#include "integration/bounded_wait.h"
#include "integration/local_https_server.h"
#include "integration/temp_directory.h"
#include "transport/local_proxy.h"
#include "zelvo/constants.h"
#include "zelvo/linux/linux_platform.h"

namespace zelvo::transport {
namespace {

using integration::LocalHttpsServer;

enum class Through { kTinyproxy, kMicrosocks, kDeadProxy, kNoProxy, kUnset };

struct ProxyRow {
  const char* name;
  Through through;
  bool deadHttpsProxyInEnvironment;
  bool strangerCa;
  const char* outcome;
};

// Sets an environment variable for the test's lifetime (curl reads it when a transfer starts).
class ScopedEnvironment {
 public:
  ScopedEnvironment(const char* name, std::optional<std::string> value) : name_(name) {
    if (const char* old = getenv(name)) old_ = old;
    if (value) setenv(name, value->c_str(), 1);
    else unsetenv(name);
  }
  ~ScopedEnvironment() {
    if (old_) setenv(name_, old_->c_str(), 1);
    else unsetenv(name_);
  }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

std::string outcomeOf(const ProxyRow& row) {
  LocalHttpsServer server;
  LocalHttpsServer stranger;
  integration::TempDirectory directory;
  const std::string dead = "http://127.0.0.1:" + std::to_string(LocalProxy::freePort());
  ScopedEnvironment httpsProxy("https_proxy", row.deadHttpsProxyInEnvironment ? std::optional(dead) : std::nullopt);
  ScopedEnvironment noProxy("no_proxy", std::nullopt);
  std::optional<LocalProxy> proxy;
  if (row.through == Through::kTinyproxy || row.through == Through::kMicrosocks) {
    const auto kind = row.through == Through::kTinyproxy ? LocalProxy::Kind::kTinyproxy : LocalProxy::Kind::kMicrosocks;
    if (!LocalProxy::installed(kind)) return "not installed";
    proxy.emplace(kind, server.port());
    if (!proxy->ready()) return "the proxy did not start";
  }

  linux_platform::LinuxPlatformOptions options;
  options.endpoint = "https://localhost:" + std::to_string(server.port());
  options.caFile = row.strangerCa ? stranger.caFile() : server.caFile();
  options.storePath = directory.file("store.sqlite");
  options.reachability = linux_platform::ReachabilityChoice::kAlwaysReachable;
  if (proxy) options.proxy = proxy->url();
  if (row.through == Through::kDeadProxy) options.proxy = dead;
  if (row.through == Through::kNoProxy) options.proxy = "";
  linux_platform::LinuxPlatform platform(std::move(options));

  auto promise = std::make_shared<std::promise<HttpResult>>();
  std::future<HttpResult> future = promise->get_future();
  platform.httpClient().startGet(HttpRequest{std::string(kZVPingURLBase) + "?x=1&_", {}, 5.0, false},
                                 [promise](const HttpResult& result) { promise->set_value(result); });
  if (future.wait_for(integration::kWaitLimit) != std::future_status::ready) return "no completion";
  const HttpResult result = future.get();
  static const char* const kKinds[] = {"connection", "tls", "timeout", "other"};
  const auto* response = std::get_if<HttpResponse>(&result);
  return (response ? "status " + std::to_string(response->statusCode)
                   : std::string(kKinds[static_cast<int>(std::get<HttpError>(result).kind)])) +
         ", read " + std::to_string(server.requests().size()) +
         (proxy && proxy->tunnelled(server.port()) ? ", through the proxy" : "");
}

const ProxyRow kProxyRows[] = {
    {"HttpConnectThroughTinyproxy", Through::kTinyproxy, false, false, "status 200, read 1, through the proxy"},
    {"TinyproxyTunnelStillVerifiesTheServer", Through::kTinyproxy, false, true, "tls, read 0, through the proxy"},
    {"Socks5ThroughMicrosocks", Through::kMicrosocks, false, false, "status 200, read 1, through the proxy"},
    {"Socks5TunnelStillVerifiesTheServer", Through::kMicrosocks, false, true, "tls, read 0, through the proxy"},
    {"DeadProxy", Through::kDeadProxy, false, false, "connection, read 0"},
    {"EnvironmentProxyFollowedWhenUnset", Through::kUnset, true, false, "connection, read 0"},
    {"EmptyProxyIgnoresTheEnvironment", Through::kNoProxy, true, false, "status 200, read 1"},
};

class ProxyTest : public ::testing::TestWithParam<ProxyRow> {};

TEST_P(ProxyTest, EndsInItsState) {
  const std::string outcome = outcomeOf(GetParam());
  if (outcome == "not installed") GTEST_SKIP() << "tinyproxy or microsocks is not installed (scripts/install-deps.sh)";
  EXPECT_EQ(outcome, GetParam().outcome);
}

INSTANTIATE_TEST_SUITE_P(Curl, ProxyTest, ::testing::ValuesIn(kProxyRows),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace zelvo::transport
