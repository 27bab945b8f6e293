// The ping object's sending and answer handling where a session cannot show it: the request
// itself, lock-outs that overlap, released objects, bad URLs, the bounded record of requests and
// answers from another thread. The answers' effect on a session (resends, lock-out, the full ping
// after an error) is in tests/scenarios/server_answers.jsonl.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ping/ping_status.h"
#include "ping/zv_ping.h"
#include "ping_test_support.h"
#include "zelvo/constants.h"
#include "zelvo/testing/capturing_log_sink.h"
#include "zelvo/testing/manual_run_loop.h"
#include "zelvo/testing/scripted_http_client.h"
#include "zelvo/zv_status.h"

namespace zelvo {
namespace {

using testing::ScriptedHttpClient;

constexpr double kStart = 1000.0;

class PingTransportTest : public ::testing::Test {
 protected:
  PingTransportTest() {
    gate_->setDebugMode(true);
    fakes_->notifications.addObserver(this, kZVWillSendPingRequestNotification,
                                      [this](const Notification&) { ++willSend_; });
  }
  ~PingTransportTest() override { fakes_->notifications.removeObserver(this); }

  ScriptedHttpClient& http() { return fakes_->http; }
  std::string url(std::size_t i) const { return fakes_->http.requests().at(i).request.url; }
  // One track call; returns the number of requests it started.
  std::size_t track(bool firstPing = false) {
    arguments_.firstPing = firstPing;
    const std::size_t before = http().requestCount();
    ping_->trackAccountID(arguments_);
    return http().requestCount() - before;
  }

  // The services a ping sender takes, one single fake each, kept alive by the sender as their
  // owner. The HTTP client, last, joins its completion thread first.
  struct Fakes {
    testing::VirtualClock clock{kStart};
    testing::ManualRunLoop loop{clock};
    NotificationCenter notifications;
    testing::CapturingLogSink log;
    ScriptedHttpClient http;
  };
  std::shared_ptr<Fakes> fakes_ = std::make_shared<Fakes>();
  std::shared_ptr<LogGate> gate_ = std::make_shared<LogGate>(fakes_->log);
  ZVPing::Services services() const { return {fakes_, fakes_->http, fakes_->clock, fakes_->loop, fakes_->notifications}; }
  std::shared_ptr<ZVPing> ping_ = std::make_shared<ZVPing>(services(), gate_);
  ZVPing::TrackArguments arguments_ = test::typicalPingArguments();
  std::atomic<int> willSend_{0};
};

TEST_F(PingTransportTest, SendsAGetWithUserAgentNoCacheAndFiveSecondTimeout) {
  http().enqueueStatuses({200});
  ASSERT_EQ(track(true), 1u);
  const HttpRequest request = http().requests().front().request;
  EXPECT_EQ(request.headers, (std::vector<std::pair<std::string, std::string>>{{"User-Agent", "Mozilla/5.0 (iPhone)"}}));
  EXPECT_EQ(request.timeoutSeconds, 5.0);
  EXPECT_TRUE(request.ignoreCaches);
  EXPECT_EQ(ping_->getPingUrl(ping_->previousRequest(request.url)->params), request.url);
}

TEST_F(PingTransportTest, A503DuringALockOutMovesItsEndAndTheErrorMarkWaitsForTheNextSend) {
  http().enqueueStatuses({503, 404});
  track(true);
  track();
  http().deliverPending();  // 503, then 404 for the second ping
  EXPECT_EQ(ping_->lockOutEnd(), kStart + 600.0);
  EXPECT_EQ(fakes_->log.count("[ZV]:Site over capacity, lock out until: 2001-01-01 00:26:40 +0000"), 1u);
  EXPECT_EQ(track(), 0u);
  EXPECT_TRUE(ping_->lastWasError()) << "a dropped ping does not consume it";

  fakes_->clock.set(kStart + 300.0);
  ping_->handlePingRequestResponse(HttpResponse{503, url(0)});
  EXPECT_EQ(ping_->lockOutEnd(), kStart + 900.0);
  fakes_->clock.set(kStart + 899.999);
  EXPECT_EQ(track(), 0u);
  EXPECT_EQ(ping_->status().snapshot().skippedLockedOut, 2u);
  EXPECT_EQ(ping_->status().snapshot().lockOutEnd, kStart + 900.0);

  http().enqueueStatuses({200});
  fakes_->clock.set(kStart + 900.0);
  EXPECT_EQ(track(), 1u);
  EXPECT_FALSE(ping_->lockOutEnd());
  EXPECT_FALSE(ping_->status().snapshot().lockOutEnd.has_value());
  EXPECT_NE(url(2).find("&n="), std::string::npos) << "full: the 404's mark";
  EXPECT_FALSE(ping_->lastWasError());
}

// The counters that are not zero, "attempted 4, resent 3, rejected 1".
std::string counts(const ZVStatus& status) {
  std::string text;
  for (const auto& [name, count] : {std::pair{"attempted", status.pingsAttempted}, {"delivered", status.pingsDelivered},
                                    {"resent", status.pingsResent}, {"over capacity", status.failedOverCapacity},
                                    {"rejected", status.failedRejected}, {"connection", status.failedConnection},
                                    {"tls", status.failedTls}, {"timeout", status.failedTimeout},
                                    {"other", status.failedOther}, {"busy", status.skippedBusy}}) {
    if (count != 0) text += (text.empty() ? "" : ", ") + std::string(name) + " " + std::to_string(count);
  }
  return text;
}

// Every request started ends in exactly one outcome: the attempts add up.
TEST_F(PingTransportTest, EveryAttemptEndsInExactlyOneOutcome) {
  const struct {
    const char* what;
    std::vector<ScriptedHttpClient::Answer> answers;
    const char* counted;
  } cases[] = {
      {"500 to the ping and every resend", std::vector(4, ScriptedHttpClient::Answer::withStatus(500)),
       "attempted 4, resent 3, rejected 1"},
      {"202, then 200", {ScriptedHttpClient::Answer::withStatus(202), ScriptedHttpClient::Answer::withStatus(200)},
       "attempted 2, delivered 1, resent 1"},
      {"no answer", {ScriptedHttpClient::Answer::error()}, "attempted 1, other 1"},
  };
  for (const auto& row : cases) {
    ping_ = std::make_shared<ZVPing>(services(), gate_);
    for (const auto& answer : row.answers) http().enqueue(answer);
    track(true);
    http().deliverPending();
    EXPECT_EQ(counts(ping_->status().snapshot()), row.counted) << row.what;
  }
}

// An answer to a ping whose sender a new start replaced is counted with what it was, and nothing
// more is done about it: no resend, no lock-out.
TEST_F(PingTransportTest, AnAnswerAfterANewStartIsCountedOnly) {
  using Answer = ScriptedHttpClient::Answer;
  const struct {
    Answer answer;
    const char* counted;
    const char* lastError;
  } cases[] = {
      {Answer::withStatus(200), "attempted 1, delivered 1", ""},
      {Answer::withStatus(503), "attempted 1, over capacity 1", "answered 503 after the tracker started again"},
      {Answer::withStatus(500), "attempted 1, rejected 1", "answered 500 after the tracker started again"},
      {Answer::error(), "attempted 1, other 1", "scripted transport error"},
  };
  for (const auto& row : cases) {
    auto status = std::make_shared<PingStatus>(fakes_->loop);
    ping_ = std::make_shared<ZVPing>(services(), gate_, status);
    http().enqueue(row.answer);
    const std::size_t sent = http().requestCount() + track(true);
    ping_ = std::make_shared<ZVPing>(services(), gate_, status);
    http().deliverPending();
    EXPECT_EQ(counts(status->snapshot()), row.counted) << row.counted;
    EXPECT_EQ(status->snapshot().lastError, row.lastError);
    EXPECT_EQ(http().requestCount(), sent) << "no resend";
    EXPECT_FALSE(ping_->lockOutEnd());
  }
}

// A slow server cannot make pings pile up: past the bound, each is skipped and counted.
TEST_F(PingTransportTest, PingsBeyondTheBoundInFlightAreSkippedAsBusy) {
  http().setDefaultAnswer(ScriptedHttpClient::Answer::withStatus(200));
  for (uint32_t i = 0; i < PingStatus::kMaxPingsInFlight + 4; ++i) {
    arguments_.dwellTime = i;
    track();
  }
  EXPECT_EQ(http().requestCount(), PingStatus::kMaxPingsInFlight);
  EXPECT_EQ(counts(ping_->status().snapshot()), "attempted " + std::to_string(PingStatus::kMaxPingsInFlight) + ", busy 4");
  http().deliverPending();
  EXPECT_EQ(track(), 1u);
  http().deliverPending();
  const std::string more = std::to_string(PingStatus::kMaxPingsInFlight + 1);
  EXPECT_EQ(counts(ping_->status().snapshot()), "attempted " + more + ", delivered " + more + ", busy 4");
}

// A newer start replaced the object: its answers are counted, and nothing more (no resend).
TEST_F(PingTransportTest, AnswersToAReleasedPingObjectAreCountedOnly) {
  auto status = std::make_shared<PingStatus>(fakes_->loop);
  ping_ = std::make_shared<ZVPing>(services(), gate_, status);
  http().enqueueStatuses({500});
  track(true);
  ping_.reset();
  EXPECT_EQ(http().deliverPending(), 1u);
  EXPECT_EQ(http().requestCount(), 1u);
  EXPECT_EQ(counts(status->snapshot()), "attempted 1, rejected 1");
}

TEST_F(PingTransportTest, AUrlThatIsNotValidIsDroppedAndLogged) {
  for (const char* token : {"a b", "caf\xC3\xA9", "50%"}) {
    arguments_.userToken = token;
    EXPECT_EQ(track(true), 0u) << token;
  }
  EXPECT_EQ(ping_->previousRequestCount(), 0u);
  EXPECT_EQ(willSend_, 0);
  const std::vector<std::string> lines = fakes_->log.lines();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].rfind("[ZV]:Dropping ping, its URL is not valid: https://", 0), 0u) << lines[0];
  fakes_->log.clear();
  gate_->setLogLevel(3);  // an error line: it passes where the standard ones are closed
  track();
  EXPECT_EQ(fakes_->log.lines().size(), 1u);
}

TEST_F(PingTransportTest, KeepsOnlyTheNewestRecordsAndStillResendsThem) {
  http().setDefaultAnswer(ScriptedHttpClient::Answer::withStatus(200));
  for (uint32_t i = 0; i < ZVPing::kMaxPreviousRequests + 6; ++i) {
    arguments_.dwellTime = i;  // a distinct URL per ping
    track();
    http().deliverPending();
  }
  EXPECT_EQ(ping_->previousRequestCount(), ZVPing::kMaxPreviousRequests);
  EXPECT_FALSE(ping_->previousRequest(url(5)));
  ASSERT_TRUE(ping_->previousRequest(url(6)));

  // A resend refreshes its record, which then outlives older ones.
  ping_->handlePingRequestResponse(HttpResponse{500, url(6)});
  http().deliverPending();
  EXPECT_EQ(ping_->previousRequest(url(6))->numRetries, 2);
  arguments_.dwellTime = 1000;
  track();
  EXPECT_TRUE(ping_->previousRequest(url(6)));
  EXPECT_FALSE(ping_->previousRequest(url(7)));
}

TEST_F(PingTransportTest, AnswersOnAnotherThreadWhileTheMainThreadPings) {
  http().setDelivery(ScriptedHttpClient::Delivery::kThread);
  http().setDefaultAnswer(ScriptedHttpClient::Answer::withStatus(200));
  for (int round = 0; round < 20; ++round) {
    http().enqueueStatuses({500, 404, 503, 200});
    arguments_.dwellTime = static_cast<uint32_t>(round);
    fakes_->clock.set(kStart + 1000.0 * round);  // past any lock-out
    track(round == 0);
    (void)ping_->lastWasError();
    (void)ping_->lockOutEnd();
    ping_->setUsePong(round % 2 == 1);
  }
  ASSERT_TRUE(http().waitUntilIdle(10.0));
  // Notifications of what happened on the client's thread wait for the main thread.
  fakes_->loop.runPendingTasks();
  EXPECT_GT(http().requestCount(), 20u);
  EXPECT_EQ(static_cast<std::size_t>(willSend_), http().requestCount());
}

}  // namespace
}  // namespace zelvo
