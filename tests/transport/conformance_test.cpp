// One table of what every HTTP client must do, run against each: the platform's curl, Qt's,
// libsoup's and a C host's handler, each behind the Linux platform (so the endpoint and the
// library's URL check apply as a host gets them) against a local HTTPS server.
#include <gtest/gtest.h>

#include <future>
#include <string>
#include <vector>

#include "integration/bounded_wait.h"
#include "integration/local_https_server.h"
#include "integration/temp_directory.h"
#include "transport/client_kinds.h"
#include "zelvo/constants.h"

namespace zelvo::transport {
namespace {

using integration::LocalHttpsServer;
using integration::Reply;

// The ways a row bends the server or the trust.
enum class Twist { kNone, kStrangerCa, kOtherName, kRefusedPort };
// What a row asks of the client.
enum class Ask { kPings, kConfiguration, kUrlCheck, kPingWhileTheClientGoes };

struct Row {
  const char* name;
  std::vector<Reply> script;
  Twist twist;
  Ask ask;
  std::string outcome;
};

const std::string kPingUrl = std::string(kZVPingURLBase) + "h=a%20b&i=%C3%A9&u=https%3A%2F%2Fx.example%2Fp%3Fq%3D1&_";

std::string describe(const HttpResult& result) {
  if (const auto* response = std::get_if<HttpResponse>(&result)) {
    return "status " + std::to_string(response->statusCode) + (response->url == kPingUrl ? "" : " for " + response->url);
  }
  static const char* const kKinds[] = {"connection", "tls", "timeout", "other"};
  const auto& error = std::get<HttpError>(result);
  return std::string(kKinds[static_cast<int>(error.kind)]) + (error.failingUrl == kPingUrl ? "" : " for " + error.failingUrl);
}

std::future<HttpResult> startPing(HttpClient& client) {
  HttpRequest request{.url = kPingUrl, .headers = {{"User-Agent", "ZelvoTest/1 (Linux)"}}, .timeoutSeconds = 5.0,
                      .ignoreCaches = true};
  auto promise = std::make_shared<std::promise<HttpResult>>();
  std::future<HttpResult> future = promise->get_future();
  client.startGet(std::move(request), [promise](const HttpResult& result) { promise->set_value(result); });
  return future;
}

HttpResult waitFor(std::future<HttpResult> future) {
  if (future.wait_for(integration::kWaitLimit) != std::future_status::ready) return HttpError{"no completion", ""};
  return future.get();
}

// What the client did, and what the server read: every request that arrived, with the path,
// query and headers the library asked for.
std::string outcomeOf(ClientKind kind, const Row& row) {
  LocalHttpsServer server({"collector.example"}, std::chrono::seconds(30), row.twist != Twist::kOtherName);
  server.script(row.script);
  if (row.script.empty()) server.serve("/data/config.json", R"({"engagement_window": 8})");
  LocalHttpsServer stranger;
  integration::TempDirectory directory;

  ClientSetup setup{.caFile = row.twist == Twist::kStrangerCa ? stranger.caFile() : server.caFile(),
                    .requestTimeout = std::chrono::seconds(row.ask == Ask::kPings && !row.script.empty() && row.script[0].hang ? 1 : 5)};
  linux_platform::LinuxPlatformOptions options;
  const int port = row.twist == Twist::kRefusedPort ? LocalHttpsServer().port() : server.port();
  options.endpoint = "https://localhost:" + std::to_string(port);
  options.storePath = directory.file("store.sqlite");
  options.reachability = linux_platform::ReachabilityChoice::kAlwaysReachable;
  useClient(kind, setup, options);
  auto platform = std::make_shared<linux_platform::LinuxPlatform>(std::move(options));
  HttpClient& client = platform->httpClient();

  std::string outcome;
  switch (row.ask) {
    case Ask::kPings:
      for (size_t i = 0; i < std::max<size_t>(row.script.size(), 1); ++i) outcome += describe(waitFor(startPing(client))) + ", ";
      break;
    case Ask::kPingWhileTheClientGoes: {
      std::future<HttpResult> pending = startPing(client);
      if (!server.waitForRequests(1, integration::kWaitLimit)) return "the request did not arrive";
      platform.reset();  // the one holder: the client goes with it, and ends what it holds
      outcome = describe(waitFor(std::move(pending))) + ", ";
      break;
    }
    case Ask::kConfiguration:
      outcome = "body " + client.fetch(kZelvoConfigURL).value_or("none") + ", ";
      break;
    case Ask::kUrlCheck:
      // A ping as the library builds it passes; one that a parser would rewrite or that holds
      // raw bytes does not, whichever client sends it.
      for (const std::string& url : {kPingUrl, std::string(kZVPingURLBase) + "h=a b",
                                     std::string("https://ping.zelvo-analytics.net/a/../ping?h"),
                                     std::string("http://ping.zelvo-analytics.net/ping?h"),
                                     std::string(kZVPingURLBase) + "h=\xC3\xA9"}) {
        outcome += client.acceptsUrl(url) ? "accepted, " : "refused, ";
      }
      break;
  }
  platform.reset();
  const std::vector<integration::RecordedRequest> seen = server.requests();
  outcome += "read " + std::to_string(seen.size());
  for (const auto& request : seen) {
    outcome += " " + request.target;
    if (request.path != "/ping") continue;  // the configuration's headers are the client's
    for (const char* name : {"User-Agent", "Cache-Control"}) {
      const auto header = request.headers.find(name);
      outcome += header != request.headers.end() ? " [" + header->second + "]" : " [no " + std::string(name) + "]";
    }
  }
  return outcome;
}

const std::string kTarget = " /ping?h=a%20b&i=%C3%A9&u=https%3A%2F%2Fx.example%2Fp%3Fq%3D1&_ [ZelvoTest/1 (Linux)] [no-cache]";

const Row kRows[] = {
    // Every status is an answer, for the library to judge; the request arrives as built, on the
    // endpoint, with its headers.
    {"Statuses", {{200}, {202}, {500}, {503}}, Twist::kNone, Ask::kPings,
     "status 200, status 202, status 500, status 503, read 4" + kTarget + kTarget + kTarget + kTarget},
    {"StallPastTheTimeout", {{.hang = true}}, Twist::kNone, Ask::kPings, "timeout, read 1" + kTarget},
    // A client that goes away ends what it holds ("cancelled"), and only once.
    {"ClientGoesWhileWaiting", {{.hang = true}}, Twist::kNone, Ask::kPingWhileTheClientGoes,
     "other, read 1" + kTarget},
    {"RefusedPort", {}, Twist::kRefusedPort, Ask::kPings, "connection, read 0"},
    // Nothing reaches a server the client does not trust.
    {"UntrustedCertificate", {}, Twist::kStrangerCa, Ask::kPings, "tls, read 0"},
    {"CertificateForAnotherName", {}, Twist::kOtherName, Ask::kPings, "tls, read 0"},
    {"ConfigurationBody", {}, Twist::kNone, Ask::kConfiguration, R"(body {"engagement_window": 8}, read 1 /data/config.json)"},
    {"ConfigurationNotFound", {{404}}, Twist::kNone, Ask::kConfiguration, "body none, read 1 /data/config.json"},
    {"UrlCheck", {}, Twist::kNone, Ask::kUrlCheck, "accepted, refused, refused, refused, refused, read 0"},
};

class Conformance : public ::testing::TestWithParam<std::tuple<ClientKind, Row>> {};

TEST_P(Conformance, EndsAsEveryClientMust) {
  const auto& [kind, row] = GetParam();
  EXPECT_EQ(outcomeOf(kind, row), row.outcome);
}

INSTANTIATE_TEST_SUITE_P(Clients, Conformance,
                         ::testing::Combine(::testing::Values(ClientKind::kCurl, ClientKind::kQt, ClientKind::kSoup,
                                                              ClientKind::kCHandler),
                                            ::testing::ValuesIn(kRows)),
                         [](const auto& info) {
                           return nameOf(std::get<0>(info.param)) + "_" + std::get<1>(info.param).name;
                         });

}  // namespace
}  // namespace zelvo::transport
