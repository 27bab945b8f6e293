#include <thread>

#include "tracker_fixture.h"

#include "zelvo/constants.h"

namespace zelvo::test {
namespace {

// The heartbeat through the tracker, where a session's pings cannot show it: the timers, the
// lifecycle's registrations, threads. The pings themselves are in tests/scenarios/heartbeat.jsonl
// and schedule.jsonl.
class HeartbeatTest : public TrackerTest {
 protected:
  void startAndTrack(const std::string& id = "/a") {
    tracker->startTrackerWithAccountID(9, std::string("app"));
    tracker->trackView(view, id, std::string("Title"));
  }
  std::shared_ptr<View> view = std::make_shared<SimpleView>(Size{320, 480});
};

TEST_F(HeartbeatTest, TheRepeatTestNeedsTheSameViewObjectAndTheSameIdentifier) {
  startAndTrack("/a");
  const auto token = tracker->sessionToken();
  tracker->setDebugMode(true);
  EXPECT_FALSE(tracker->trackView(view, std::string("/a"), std::string("again")));
  EXPECT_EQ(tracker->sessionToken(), token);
  EXPECT_EQ(pingCount(), 1u);
  EXPECT_EQ(platform->log().count("[ZV]:Track view called on the previous view again. Skipping."), 1u);

  EXPECT_TRUE(tracker->trackView(view, std::string("/b"), std::string("B")));
  EXPECT_EQ(tracker->previousSessionToken(), token);
  auto other = std::make_shared<SimpleView>(Size{320, 480});
  EXPECT_TRUE(tracker->trackView(other, std::string("/b"), std::string("B")));
  EXPECT_TRUE(tracker->trackView(nullptr, std::string("/b"), std::string("B")));
  EXPECT_TRUE(tracker->trackView(nullptr, std::string("/b"), std::string("B")));
  EXPECT_TRUE(tracker->trackView(other, std::nullopt, std::string("B")));
  EXPECT_TRUE(tracker->trackView(other, std::nullopt, std::string("B")));
  EXPECT_EQ(pingCount(), 7u);
}

// The pings of a pause and a resume are in tests/scenarios/schedule.jsonl; here, the timers.
TEST_F(HeartbeatTest, PauseAndResumeMakeOneNewHeartbeatAndAFirstPing) {
  startAndTrack();
  advance(20);
  post(ApplicationEvent::kWillResignActive);
  EXPECT_FALSE(in().schedule.dwellTimer());
  EXPECT_EQ(platform->runLoop().activeTimerCount(), 0u);
  EXPECT_EQ(tracker->status(), 2u);
  post(ApplicationEvent::kDidBecomeActive);
  EXPECT_EQ(platform->runLoop().activeTimerCount(), 1u);
  EXPECT_TRUE(tracker->firstPing());
  EXPECT_EQ(in().schedule.interval(), 15u);
}


TEST_F(HeartbeatTest, LifecycleEventsBeforeAnyViewRecordTheVisitButStartNothing) {
  tracker->setDebugMode(true);
  post(ApplicationEvent::kWillResignActive);
  EXPECT_TRUE(platform->log().lines().empty());
  tracker->startTrackerWithAccountID(9, std::string("app"));
  post(ApplicationEvent::kWillResignActive);
  post(ApplicationEvent::kDidBecomeActive);
  EXPECT_EQ(platform->runLoop().activeTimerCount(), 0u);
  in().decayPing();
  EXPECT_EQ(pingCount(), 0u) << "nor a decay ping before the first view";
  EXPECT_TRUE(platform->memoryStore().get(kZVUserVisitTrackingKey));
  EXPECT_TRUE(platform->memoryStore().get(kZVUserFirstVisitTrackingKey));
}

// The pings around a stop are in tests/scenarios/heartbeat.jsonl; here, what the stop clears.
TEST_F(HeartbeatTest, AStopClearsTheScheduleAndTheNextViewRestartsIt) {
  startAndTrack();
  advance(5);
  const auto ping = in().ping;
  tracker->stopTracker();
  EXPECT_EQ(tracker->status(), 1u);
  EXPECT_FALSE(tracker->view());
  EXPECT_EQ(in().schedule.interval(), 0u);
  EXPECT_EQ(in().schedule.dwellTime(), 0u);
  EXPECT_EQ(in().engagement.remainingEngagedSeconds(), 0u);
  EXPECT_EQ(platform->runLoop().activeTimerCount(), 0u);
  EXPECT_TRUE(tracker->trackView(view, std::string("/a"), std::string("A")));
  EXPECT_EQ(tracker->status(), 2u);
  EXPECT_NE(in().ping, ping);
  EXPECT_EQ(platform->runLoop().activeTimerCount(), 1u);
  tracker.reset();
  EXPECT_EQ(platform->runLoop().activeTimerCount(), 0u) << "a tracker takes its heartbeat with it";
}

TEST_F(HeartbeatTest, StopTrackerFromAnotherThreadInvalidatesOnTheMainThreadToo) {
  startAndTrack();
  tracker->setDebugMode(true);
  std::thread other([this] { tracker->stopTracker(); });
  EXPECT_TRUE(platform->runLoop().waitForPostedTask(10.0));
  other.join();
  EXPECT_FALSE(in().schedule.dwellTimer());
  EXPECT_EQ(tracker->status(), 1u);
  EXPECT_EQ(platform->log().count("[ZV]: stopTracker called in a thread. Invalidating tracker on main thread."), 1u);
  advance(30);
  EXPECT_EQ(pingCount(), 1u);
  // Setters called off the main thread take effect there too.
  const Value extra(Value::Dictionary{{"k", Value("v")}});
  bool started = false;
  std::thread setter([&] {
    tracker->setExtraParams(extra);
    tracker->setDomain(std::string("example.org"));
    tracker->setUsePong(true);
    tracker->setSuffix(std::string("-x"));
    started = tracker->startTrackerWithAccountID(9, std::string("app"));
    tracker->setUserToken(std::string("host-token"));
    tracker->registeredUserEngagementEvent();
  });
  setter.join();
  EXPECT_TRUE(started) << "a start carried to the main thread answers at once";
  EXPECT_FALSE(tracker->extraParams() || tracker->domain() || tracker->usePong() || tracker->suffix());
  EXPECT_NE(in().identity.sessionToken(), "host-token");
  EXPECT_EQ(in().engagement.remainingEngagedSeconds(), 0u);
  platform->runLoop().runPendingTasks();
  EXPECT_GT(in().engagement.remainingEngagedSeconds(), 0u);
  EXPECT_EQ(tracker->extraParams(), extra);
  EXPECT_TRUE(tracker->domain() && tracker->usePong() && tracker->suffix());
  EXPECT_EQ(in().identity.sessionToken(), "host-token");
}

TEST_F(HeartbeatTest, PauseRegistrationsPileUpAndOnlyTheFirstDeliveryActs) {
  startAndTrack();
  NotificationCenter& center = platform->notificationCenter();
  const std::size_t entries = center.entryCount();
  for (int i = 0; i < 1000; ++i) {
    post(ApplicationEvent::kWillResignActive);
    post(ApplicationEvent::kDidBecomeActive);
  }
  // The repeats are counted, not copied: the registry does not grow with the trips.
  EXPECT_EQ(center.entryCount(), entries);
  EXPECT_EQ(center.registrationCount(tracker.get(), kApplicationWillTerminateNotification), 1001u);
  EXPECT_EQ(center.registrationCount(tracker.get(), kApplicationDidBecomeActiveNotification), 1u);
  tracker->setDebugMode(true);
  post(ApplicationEvent::kWillResignActive);
  EXPECT_EQ(platform->log().count("[ZV]: stopTracker."), 1u);
  EXPECT_FALSE(in().schedule.dwellTimer());
}

TEST_F(HeartbeatTest, ADecayPingIsFullWithoutALastPathAndChangesNoSchedule) {
  startAndTrack("/a");
  tracker->trackView(view, std::string("/b"), std::string("B"));
  advance(3);
  const uint32_t interval = in().schedule.interval();
  const std::size_t sent = pingCount();
  in().decayPing();
  EXPECT_EQ(pingCount(), sent + 1);
  auto q = queryMap(lastUrl());
  EXPECT_EQ(q["j"], "30");
  EXPECT_TRUE(hasKey(lastUrl(), "n"));
  EXPECT_FALSE(hasKey(lastUrl(), "v"));
  EXPECT_EQ(in().schedule.interval(), interval);
  EXPECT_FALSE(tracker->firstPing());
}

TEST_F(HeartbeatTest, ATrackerWhoseMonitorWasRefusedNeverPings) {
  platform->reachability().setRefuseTargets(true);
  restart();
  EXPECT_FALSE(in().reachability);
  startAndTrack();
  advance(60);
  EXPECT_EQ(pingCount(), 0u);
}

}  // namespace
}  // namespace zelvo::test
