// The ping's outcomes through the curl client against a local HTTPS server, reached with
// verification on. The rest of the platform is the testing one. (How the answers change a
// session is in tests/scenarios/server_answers.jsonl and the end-to-end test.)
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include "common/log_gate.h"
#include "integration/local_https_server.h"
#include "ping/zv_ping.h"
#include "zelvo/constants.h"
#include "zelvo/linux/curl_http_client.h"
#include "zelvo/testing/testing_platform.h"
#include "zelvo/zv_status.h"

namespace zelvo::integration {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kWaitLimit{5000};

// The testing platform with the real HTTP client in place of the scripted one.
class HttpsPlatform : public zelvo::testing::TestingPlatform {
 public:
  explicit HttpsPlatform(linux_platform::CurlHttpClient::Options options) : http_(std::move(options)) {}
  HttpClient& httpClient() override { return http_; }

 private:
  linux_platform::CurlHttpClient http_;
};

// Answers arrive on the client's thread: wait for their effect, but never for long.
bool eventually(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + kWaitLimit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(milliseconds(5));
  }
  return true;
}

// One ping per case through a client whose endpoint option names the local server (or a port
// where nothing listens): what the server sees, and what the status and the callback say.
TEST(PingStatusOverHttps, EachOutcomeReachesTheCountersAndTheCallbackOnTheMainThread) {
  LocalHttpsServer server;
  const std::string local = "https://127.0.0.1:" + std::to_string(server.port());
  const int closedPort = LocalHttpsServer().port();
  struct Case {
    std::string endpoint;
    bool trustServer;
    ZVPingOutcome::Kind kind;
    uint64_t ZVStatus::*counter;
    std::string errorPart;
  };
  const std::vector<Case> cases = {
      {local + "/collector/", true, ZVPingOutcome::Kind::kDelivered, &ZVStatus::pingsDelivered, ""},
      {"https://127.0.0.1:" + std::to_string(closedPort), true, ZVPingOutcome::Kind::kConnectionFailed,
       &ZVStatus::failedConnection, "connect"},
      {local, false, ZVPingOutcome::Kind::kTlsFailed, &ZVStatus::failedTls, "curl error 60"},
      {"http://127.0.0.1:1", true, ZVPingOutcome::Kind::kFailed, &ZVStatus::failedOther, "must start with https://"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.endpoint);
    linux_platform::CurlHttpClient::Options options;
    if (c.trustServer) options.caFile = server.caFile();
    options.endpoint = c.endpoint;
    auto platform = std::make_shared<HttpsPlatform>(options);
    auto ping = std::make_shared<ZVPing>(platform, std::make_shared<LogGate>(platform->logSink()));
    std::vector<ZVPingOutcome> seen;
    ping->status().setCallback([&](const ZVPingOutcome& outcome) {
      EXPECT_TRUE(platform->mainRunLoop().isMainThread());
      seen.push_back(outcome);
    });
    const std::size_t before = server.requests().size();
    PingParameters parameters;
    parameters.add("h", "example.com");
    ping->sendPing(parameters, "agent", 1);
    ASSERT_TRUE(eventually([&] {
      platform->runLoop().runPendingTasks();
      return seen.size() == 1;
    }));
    const ZVPingOutcome& outcome = seen[0];
    EXPECT_EQ(outcome.kind, c.kind);
    EXPECT_EQ(outcome.url, ping->getPingUrl(parameters)) << "answers name the library's URL";
    EXPECT_NE(outcome.error.find(c.errorPart), std::string::npos) << outcome.error;
    const ZVStatus status = ping->status().snapshot();
    EXPECT_EQ(status.pingsAttempted, 1u);
    EXPECT_EQ(status.*c.counter, 1u);
    EXPECT_EQ(status.lastError, outcome.error);
    if (c.kind == ZVPingOutcome::Kind::kDelivered) {
      ASSERT_EQ(server.requests().size(), before + 1);
      EXPECT_EQ(server.requests().back().path, "/collector/ping");
      EXPECT_EQ(server.requests().back().query, "h=example.com&_");
    }
  }
}

}  // namespace
}  // namespace zelvo::integration
