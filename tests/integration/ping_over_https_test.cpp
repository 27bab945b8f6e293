// The ping object's answer handling, end to end: the curl client against a local HTTPS server
// that answers 200, 202, 500, 503 and 404, reached under the ping endpoint's real host name
// with verification on. The rest of the platform is the testing one.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include "common/log_gate.h"
#include "integration/local_https_server.h"
#include "ping/zv_ping.h"
#include "ping_test_support.h"
#include "zelvo/constants.h"
#include "zelvo/linux/curl_http_client.h"
#include "zelvo/testing/testing_platform.h"
#include "zelvo/zv_status.h"

namespace zelvo::integration {
namespace {

using std::chrono::milliseconds;

constexpr char kPingHost[] = "ping.zelvo-analytics.net";
constexpr milliseconds kWaitLimit{5000};

// The testing platform with the real HTTP client in place of the scripted one. By default the
// endpoint's host and port are mapped to the local server, so no name is ever looked up.
class HttpsPlatform : public zelvo::testing::TestingPlatform {
 public:
  explicit HttpsPlatform(const LocalHttpsServer& server)
      : HttpsPlatform(linux_platform::CurlHttpClient::Options{
            server.caFile(), {std::string(kPingHost) + ":443:127.0.0.1:" + std::to_string(server.port())}, 1 << 20,
            nullptr}) {}
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

class PingOverHttpsTest : public ::testing::Test {
 protected:
  PingOverHttpsTest()
      : server_({kPingHost}),
        platform_(std::make_shared<HttpsPlatform>(server_)),
        gate_(std::make_shared<LogGate>(platform_->logSink())),
        ping_(std::make_shared<ZVPing>(platform_, gate_)) {
    gate_->setDebugMode(true);
    platform_->notificationCenter().addObserver(this, kZVDidSendPingRequestNotification,
                                                [this](const Notification&) { ++didSend_; });
  }
  ~PingOverHttpsTest() override {
    platform_->notificationCenter().removeObserver(this);
    if (HasFailure()) {
      for (const auto& line : platform_->log().lines()) std::fprintf(stderr, "log: %s\n", line.c_str());
    }
  }

  void track(bool firstPing = false) {
    ZVPing::TrackArguments arguments = test::typicalPingArguments();
    arguments.firstPing = firstPing;
    ping_->trackAccountID(arguments);
  }
  // The ping's URL is the endpoint's; the request reaches the server with its path and query.
  std::string sentUrl(size_t i) const { return std::string(kZVPingURLBase) + server_.requests().at(i).query; }

  LocalHttpsServer server_;
  std::shared_ptr<HttpsPlatform> platform_;
  std::shared_ptr<LogGate> gate_;
  std::shared_ptr<ZVPing> ping_;
  std::atomic<int> didSend_{0};
};

TEST_F(PingOverHttpsTest, ADeliveredPingIsAnnouncedOnceAndKeepsItsRecord) {
  track(true);
  ASSERT_TRUE(server_.waitForRequests(1, kWaitLimit));
  ASSERT_TRUE(eventually([&] { return didSend_ == 1; }));
  const auto request = server_.requests().at(0);
  EXPECT_EQ(request.path, "/ping");
  EXPECT_EQ(request.headers.find("User-Agent")->second, "Mozilla/5.0 (iPhone)");
  EXPECT_TRUE(ping_->previousRequest(sentUrl(0)));
  EXPECT_FALSE(ping_->lastWasError());
}

TEST_F(PingOverHttpsTest, FiveHundredsAreResentUpToFourSendsInAll) {
  server_.script({{500}, {500}, {500}, {500}});
  track();
  ASSERT_TRUE(server_.waitForRequests(4, kWaitLimit));
  ASSERT_TRUE(eventually([&] { return ping_->previousRequest(sentUrl(0))->numRetries == 4; }));
  EXPECT_FALSE(server_.waitForRequests(5, milliseconds(500))) << "the fourth answer ends it";
  for (size_t i = 1; i < 4; ++i) EXPECT_EQ(server_.requests()[i].target, server_.requests()[0].target);
  EXPECT_EQ(didSend_, 0);
}

TEST_F(PingOverHttpsTest, TwoHundredTwoIsSentAgainAndOnlyTwoHundredCountsAsDelivered) {
  server_.script({{202}});
  track();
  ASSERT_TRUE(server_.waitForRequests(2, kWaitLimit));
  ASSERT_TRUE(eventually([&] { return didSend_ == 1; }));
  EXPECT_EQ(ping_->previousRequest(sentUrl(0))->numRetries, 2);
}

TEST_F(PingOverHttpsTest, OverCapacityLocksOutTheNextPings) {
  server_.script({{503}});
  track();
  ASSERT_TRUE(eventually([&] { return ping_->lockOutEnd().has_value(); }));
  EXPECT_EQ(*ping_->lockOutEnd(), platform_->clock().now() + kLockOutTime);
  track();
  track(true);
  EXPECT_FALSE(server_.waitForRequests(2, milliseconds(500)));
  EXPECT_EQ(ping_->status().snapshot().skippedLockedOut, 2u);
  EXPECT_EQ(ping_->status().snapshot().lockOutEnd, ping_->lockOutEnd());
  platform_->virtualClock().set(platform_->clock().now() + kLockOutTime);
  track();
  EXPECT_TRUE(server_.waitForRequests(2, kWaitLimit));
  EXPECT_FALSE(ping_->status().snapshot().lockOutEnd.has_value());
}

TEST_F(PingOverHttpsTest, AnotherErrorStatusMakesTheNextPingFull) {
  server_.script({{404}});
  track();
  ASSERT_TRUE(eventually([&] { return ping_->lastWasError(); }));
  track();
  ASSERT_TRUE(server_.waitForRequests(2, kWaitLimit));
  EXPECT_EQ(server_.requests()[0].query.find("&n="), std::string::npos);
  EXPECT_NE(server_.requests()[1].query.find("&n="), std::string::npos) << "full after the 404";
  track();
  ASSERT_TRUE(server_.waitForRequests(3, kWaitLimit));
  EXPECT_EQ(server_.requests()[2].query.find("&n="), std::string::npos);
}

// One ping per case through a client whose endpoint option names the local server (or a port
// where nothing listens): what the server sees, and what the status and the callback say.
TEST(PingStatusOverHttps, EachOutcomeReachesTheCountersAndTheCallbackOnTheMainThread) {
  LocalHttpsServer server;
  const std::string local = "https://127.0.0.1:" + std::to_string(server.port());
  const int closedPort = [] {
    LocalHttpsServer gone;
    return gone.port();
  }();
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

TEST_F(PingOverHttpsTest, AnswersToAReleasedPingObjectChangeNothing) {
  server_.script({{503}});
  track();
  std::weak_ptr<ZVPing> released = ping_;
  ping_.reset();
  ASSERT_TRUE(server_.waitForRequests(1, kWaitLimit));
  EXPECT_TRUE(eventually([&] { return released.expired(); }));
  EXPECT_EQ(didSend_, 0);
}

}  // namespace
}  // namespace zelvo::integration
