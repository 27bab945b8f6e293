#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "ping/zv_ping.h"
#include "ping_test_support.h"
#include "zelvo/constants.h"
#include "zelvo/testing/testing_platform.h"

namespace zelvo {
namespace {

using testing::ScriptedHttpClient;

constexpr double kStart = 1000.0;

bool contains(const std::string& text, std::string_view part) { return text.find(part) != std::string::npos; }

// Collects the URLs of one notification, from whatever thread posts it.
class UrlObserver {
 public:
  UrlObserver(NotificationCenter& center, const char* name) : center_(center) {
    center_.addObserver(this, name, [this](const Notification& n) {
      const Value* url = n.userInfo ? n.userInfo->find(kZVDidSendPingRequestNotificationURLKey) : nullptr;
      std::lock_guard lock(mutex_);
      urls_.push_back(url && url->asString() ? *url->asString() : "<no URL>");
    });
  }
  ~UrlObserver() { center_.removeObserver(this); }
  std::vector<std::string> urls() const {
    std::lock_guard lock(mutex_);
    return urls_;
  }

 private:
  NotificationCenter& center_;
  mutable std::mutex mutex_;
  std::vector<std::string> urls_;
};

class PingTransportTest : public ::testing::Test {
 protected:
  PingTransportTest()
      : platform_(std::make_shared<testing::TestingPlatform>(kStart)),
        gate_(std::make_shared<LogGate>(platform_->logSink())),
        ping_(std::make_shared<ZVPing>(platform_, gate_)),
        willSend_(platform_->notificationCenter(), kZVWillSendPingRequestNotification),
        didSend_(platform_->notificationCenter(), kZVDidSendPingRequestNotification) {
    gate_->setDebugMode(true);
    arguments_ = test::typicalPingArguments();
  }

  ScriptedHttpClient& http() { return platform_->http(); }
  std::vector<std::string> requestedUrls() const {
    std::vector<std::string> urls;
    for (const auto& recorded : platform_->http().requests()) urls.push_back(recorded.request.url);
    return urls;
  }
  std::string lastUrl() const { return requestedUrls().back(); }
  // One track call, with `firstPing` as given; returns the number of requests it started.
  std::size_t track(bool firstPing = false) {
    arguments_.firstPing = firstPing;
    std::size_t before = http().requestCount();
    ping_->trackAccountID(arguments_);
    return http().requestCount() - before;
  }
  std::size_t countLog(std::string_view line) const { return platform_->log().count(line); }
  bool isFull(const std::string& url) const { return contains(url, "&n="); }

  std::shared_ptr<testing::TestingPlatform> platform_;
  std::shared_ptr<LogGate> gate_;
  std::shared_ptr<ZVPing> ping_;
  UrlObserver willSend_;
  UrlObserver didSend_;
  ZVPing::TrackArguments arguments_;
};

TEST_F(PingTransportTest, SendsAGetWithUserAgentNoCacheAndFiveSecondTimeout) {
  http().enqueueStatuses({200});
  ASSERT_EQ(track(true), 1u);
  const auto recorded = http().requests().front();
  EXPECT_TRUE(recorded.request.url.rfind(kZVPingURLBase, 0) == 0);
  EXPECT_TRUE(recorded.request.url.ends_with("&_"));
  EXPECT_EQ(recorded.request.headers,
            (std::vector<std::pair<std::string, std::string>>{{"User-Agent", "Mozilla/5.0 (iPhone)"}}));
  EXPECT_EQ(recorded.request.timeoutSeconds, 5.0);
  EXPECT_TRUE(recorded.request.ignoreCaches);

  auto record = ping_->previousRequest(recorded.request.url);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->numRetries, 1);
  EXPECT_EQ(record->userAgent, "Mozilla/5.0 (iPhone)");
  EXPECT_EQ(ping_->getPingUrl(record->params), recorded.request.url);

  EXPECT_EQ(platform_->log().lines(),
            (std::vector<std::string>{"[ZV]:userAgent: Mozilla/5.0 (iPhone)",
                                      "[ZV]:Pinging URL: " + recorded.request.url}));
}

TEST_F(PingTransportTest, WillSendAfterStartAndDidSendOnlyOn200) {
  http().enqueueStatuses({200});
  std::size_t requestsSeenByObserver = 0;
  platform_->notificationCenter().addObserver(this, kZVWillSendPingRequestNotification,
                                              [&](const Notification&) { requestsSeenByObserver = http().requestCount(); });
  track(true);
  platform_->notificationCenter().removeObserver(this);
  EXPECT_EQ(requestsSeenByObserver, 1u);  // posted after the request was started
  EXPECT_EQ(willSend_.urls(), requestedUrls());
  EXPECT_TRUE(didSend_.urls().empty());

  http().deliverPending();
  EXPECT_EQ(didSend_.urls(), requestedUrls());
  EXPECT_EQ(ping_->previousRequestCount(), 1u);  // the record stays
  EXPECT_FALSE(ping_->lastWasError());
}

TEST_F(PingTransportTest, AppReferrerOnTheFirstFullPingLastPathOnLaterOnes) {
  http().setDefaultAnswer(ScriptedHttpClient::Answer::withStatus(200));
  arguments_.lastPath = "a";
  track(true);
  EXPECT_TRUE(contains(lastUrl(), "&r=com.example.app"));
  EXPECT_FALSE(contains(lastUrl(), "&v="));
  EXPECT_TRUE(ping_->referrerSent());

  track(false);
  EXPECT_FALSE(isFull(lastUrl()));
  EXPECT_FALSE(contains(lastUrl(), "&r="));

  track(true);
  EXPECT_TRUE(contains(lastUrl(), "&v=a&"));
  EXPECT_FALSE(contains(lastUrl(), "&r="));

  arguments_.lastPath = "";
  track(true);
  EXPECT_TRUE(isFull(lastUrl()));
  EXPECT_FALSE(contains(lastUrl(), "&v="));
  EXPECT_FALSE(contains(lastUrl(), "&r="));
}

TEST_F(PingTransportTest, PongEndpointWhenAskedFor) {
  http().setDefaultAnswer(ScriptedHttpClient::Answer::withStatus(200));
  track(true);
  ping_->setUsePong(true);
  track();
  ping_->setUsePong(false);
  track();
  std::vector<std::string> urls = requestedUrls();
  EXPECT_EQ(urls[0].rfind(kZVPingURLBase, 0), 0u);
  EXPECT_EQ(urls[1].rfind(kZVPongURLBase, 0), 0u);
  EXPECT_EQ(urls[2].rfind(kZVPingURLBase, 0), 0u);
}

TEST_F(PingTransportTest, ServerErrorsResendTheSameRequestUpToFourSendsInAll) {
  // The record of each send, as it stands when that send is announced.
  std::vector<int> numbers;
  platform_->notificationCenter().addObserver(this, kZVWillSendPingRequestNotification, [&](const Notification& n) {
    const std::string& url = *n.userInfo->find(kZVDidSendPingRequestNotificationURLKey)->asString();
    numbers.push_back(ping_->previousRequest(url)->numRetries);
  });
  http().enqueueStatuses({500, 500, 500, 500});
  track(true);
  EXPECT_EQ(http().deliverPending(), 4u);
  platform_->notificationCenter().removeObserver(this);

  EXPECT_EQ(numbers, (std::vector<int>{1, 2, 3, 4}));
  EXPECT_EQ(requestedUrls(), std::vector<std::string>(4, requestedUrls().front()));
  EXPECT_TRUE(didSend_.urls().empty());
  EXPECT_EQ(ping_->previousRequestCount(), 1u);
  EXPECT_FALSE(ping_->lastWasError());
  EXPECT_EQ(http().unscriptedCount(), 0u);
}

TEST_F(PingTransportTest, AcceptedIsSentAgainAtOnce) {
  http().enqueueStatuses({202, 200});
  track(true);
  http().deliverPending();
  ASSERT_EQ(http().requestCount(), 2u);
  EXPECT_EQ(requestedUrls()[0], requestedUrls()[1]);
  EXPECT_EQ(ping_->previousRequest(lastUrl())->numRetries, 2);
  EXPECT_EQ(didSend_.urls(), std::vector<std::string>{lastUrl()});
}

TEST_F(PingTransportTest, OverCapacityLocksOutUntilTenMinutesLater) {
  http().enqueueStatuses({404, 503});
  track(true);
  http().deliverPending();  // 404: the next ping is full
  track();
  http().deliverPending();  // 503 at kStart
  ASSERT_EQ(ping_->lockOutEnd(), kStart + 600.0);
  EXPECT_EQ(countLog("[ZV]:Site over capacity, lock out until: 2001-01-01 00:26:40 +0000"), 1u);

  platform_->virtualClock().set(kStart + 599.0);
  EXPECT_EQ(track(), 0u);
  platform_->virtualClock().set(kStart + 599.999);
  EXPECT_EQ(track(), 0u);
  EXPECT_EQ(countLog("[ZV]:Lock out mode, not sending pings"), 2u);
  EXPECT_TRUE(willSend_.urls().size() == 2u);
  EXPECT_FALSE(ping_->lastWasError());  // consumed by the ping that got the 503

  http().enqueueStatuses({200});
  // The first call at the end instant itself clears the lock-out and sends.
  platform_->virtualClock().set(kStart + 600.0);
  EXPECT_EQ(track(), 1u);
  EXPECT_EQ(countLog("[ZV]:Clearing lock out"), 1u);
  EXPECT_FALSE(ping_->lockOutEnd());
  EXPECT_FALSE(isFull(lastUrl()));
}

TEST_F(PingTransportTest, LockOutKeepsTheErrorMarkAndIsRenewedByAnother503) {
  http().enqueueStatuses({503, 404});
  track(true);
  track();
  http().deliverPending();  // 503, then 404 for the second ping
  EXPECT_TRUE(ping_->lastWasError());
  EXPECT_EQ(track(), 0u);
  EXPECT_TRUE(ping_->lastWasError());  // a dropped ping does not consume it

  // A 503 that arrives during the lock-out (to a resend, say) moves the end.
  platform_->virtualClock().set(kStart + 300.0);
  ping_->handlePingRequestResponse(HttpResponse{503, requestedUrls()[0]});
  EXPECT_EQ(ping_->lockOutEnd(), kStart + 900.0);
  platform_->virtualClock().set(kStart + 700.0);
  EXPECT_EQ(track(), 0u);

  http().enqueueStatuses({200});
  platform_->virtualClock().set(kStart + 901.0);
  EXPECT_EQ(track(), 1u);
  EXPECT_TRUE(isFull(lastUrl()));
  EXPECT_FALSE(ping_->lastWasError());
}

TEST_F(PingTransportTest, OtherStatusesMakeOnlyTheNextPingFull) {
  for (int status : {404, 204, 400, 502, 504}) {
    http().enqueueStatuses({200, status, 200, 200});
    track(true);
    track();
    http().deliverPending();
    EXPECT_TRUE(ping_->lastWasError()) << status;
    EXPECT_EQ(countLog("[ZV]:Got non-200 response code: " + std::to_string(status) + " (" + lastUrl() + ")"), 1u);
    track();
    EXPECT_TRUE(isFull(lastUrl())) << status;
    track();
    EXPECT_FALSE(isFull(lastUrl())) << status;
    http().deliverPending();
    EXPECT_EQ(http().requestCount() % 4, 0u) << "no resend for " << status;
  }
}

TEST_F(PingTransportTest, TransportErrorIsOnlyLogged) {
  http().enqueue(ScriptedHttpClient::Answer::error());
  track(true);
  http().deliverPending();
  EXPECT_EQ(http().requestCount(), 1u);
  EXPECT_FALSE(ping_->lastWasError());
  EXPECT_FALSE(ping_->lockOutEnd());
  EXPECT_TRUE(didSend_.urls().empty());
  std::vector<std::string> lines = platform_->log().lines();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[2].rfind("[ZV]:Ping Error: ", 0), 0u) << lines[2];

  http().enqueueStatuses({200});
  track();
  EXPECT_FALSE(isFull(lastUrl()));
}

TEST_F(PingTransportTest, AnswersToAReleasedPingObjectAreIgnored) {
  http().enqueueStatuses({500});
  track(true);
  ping_.reset();
  EXPECT_EQ(http().deliverPending(), 1u);
  EXPECT_EQ(http().requestCount(), 1u);
  EXPECT_TRUE(didSend_.urls().empty());
  EXPECT_EQ(willSend_.urls().size(), 1u);
}

TEST_F(PingTransportTest, UrlThatIsNotValidIsDropped) {
  for (const char* token : {"a b", "caf\xC3\xA9", "50%"}) {
    arguments_.userToken = token;
    EXPECT_EQ(track(true), 0u) << token;
  }
  EXPECT_EQ(ping_->previousRequestCount(), 0u);
  EXPECT_TRUE(willSend_.urls().empty());
  std::vector<std::string> lines = platform_->log().lines();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].rfind("[ZV]:Dropping ping, its URL is not valid: https://", 0), 0u) << lines[0];

  // Error lines pass at log level 3, where the standard ones are closed.
  platform_->log().clear();
  gate_->setLogLevel(3);
  track();
  EXPECT_EQ(platform_->log().lines().size(), 1u);
}

TEST_F(PingTransportTest, KeepsOnlyTheNewestRecordsAndStillResendsThem) {
  http().setDefaultAnswer(ScriptedHttpClient::Answer::withStatus(200));
  std::vector<std::string> urls;
  for (uint32_t i = 0; i < ZVPing::kMaxPreviousRequests + 6; ++i) {
    arguments_.dwellTime = i;  // a distinct URL per ping
    track();
    urls.push_back(lastUrl());
  }
  http().deliverPending();
  EXPECT_EQ(ping_->previousRequestCount(), ZVPing::kMaxPreviousRequests);
  EXPECT_FALSE(ping_->previousRequest(urls.front()));
  EXPECT_TRUE(ping_->previousRequest(urls[6]));

  // A resend refreshes its record, which then outlives older ones.
  http().setDefaultAnswer(std::nullopt);
  http().enqueueStatuses({200});
  ping_->handlePingRequestResponse(HttpResponse{500, urls[6]});
  http().deliverPending();
  EXPECT_EQ(lastUrl(), urls[6]);
  EXPECT_EQ(ping_->previousRequest(urls[6])->numRetries, 2);
  http().enqueueStatuses({200});
  arguments_.dwellTime = 1000;
  track();
  EXPECT_TRUE(ping_->previousRequest(urls[6]));
  EXPECT_FALSE(ping_->previousRequest(urls[7]));
}

TEST_F(PingTransportTest, NothingIsLoggedWithDebugModeOff) {
  gate_->setDebugMode(false);
  http().enqueueStatuses({404});
  track(true);
  http().deliverPending();
  EXPECT_TRUE(platform_->log().lines().empty());
}

TEST_F(PingTransportTest, AnswersOnAnotherThreadWhileTheMainThreadPings) {
  http().setDelivery(ScriptedHttpClient::Delivery::kThread);
  http().setDefaultAnswer(ScriptedHttpClient::Answer::withStatus(200));
  for (int round = 0; round < 20; ++round) {
    http().enqueueStatuses({500, 404, 503, 200});
    arguments_.dwellTime = static_cast<uint32_t>(round);
    platform_->virtualClock().set(kStart + 1000.0 * round);  // past any lock-out
    track(round == 0);
    (void)ping_->lastWasError();
    (void)ping_->lockOutEnd();
    ping_->setUsePong(round % 2 == 1);
  }
  ASSERT_TRUE(http().waitUntilIdle(10.0));
  EXPECT_GT(http().requestCount(), 20u);
  EXPECT_EQ(willSend_.urls().size(), http().requestCount());
  EXPECT_FALSE(didSend_.urls().empty());
}

}  // namespace
}  // namespace zelvo
