#include <thread>

#include "tracker_fixture.h"

#include "heartbeat/ping_schedule.h"
#include "zelvo/constants.h"

namespace zelvo::test {
namespace {

using ::testing::ElementsAre;

// The schedule alone: the heartbeat timer, the counting and the period.
TEST(PingScheduleTest, ThePeriodDoublesForAnInactiveReaderAndAViewOrAReturnStartsItAgain) {
  zelvo::testing::TestingPlatform platform(kStart);
  int seconds = 0;
  PingSchedule schedule(platform.runLoop(), [&] { ++seconds; });
  EXPECT_FALSE(schedule.countSecond()) << "nothing counts before a view and a heartbeat";
  schedule.start();
  ASSERT_TRUE(schedule.startHeartbeat());
  EXPECT_FALSE(schedule.startHeartbeat()) << "one heartbeat";
  schedule.beginView();
  schedule.active(false);
  std::vector<uint32_t> periods;
  for (int i = 0; i < 6; ++i) {
    periods.push_back(schedule.interval());
    schedule.backOffIfInactive();
  }
  EXPECT_THAT(periods, ElementsAre(15, 30, 60, 120, 240, 240));
  for (int i = 0; i < 3; ++i) schedule.countSecond();
  schedule.setInterval(2);
  schedule.returnToInitialInterval();
  std::vector<bool> due;
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(schedule.countSecond());
    due.push_back(schedule.isPingDue());
  }
  EXPECT_THAT(due, ElementsAre(false, false, false)) << "a period shorter than the seconds counted waits";
  schedule.beginView();
  EXPECT_TRUE(schedule.active());
  schedule.countSecond();
  schedule.countSecond();
  EXPECT_TRUE(schedule.isPingDue());
  platform.advance(2);
  schedule.invalidateHeartbeat();
  platform.advance(2);
  EXPECT_EQ(seconds, 2) << "the heartbeat stopped";
}

// Through the tracker: the schedule with the network, the views and the lifecycle.
class HeartbeatTest : public TrackerTest {
 protected:
  void startAndTrack(const std::string& id = "/a") {
    tracker->startTrackerWithAccountID(9, std::string("app"));
    tracker->trackView(view, id, std::string("Title"));
  }
  std::shared_ptr<View> view = std::make_shared<SimpleView>(Size{320, 480});
};

TEST_F(HeartbeatTest, BecomingActiveDoesNotShortenTheRunningPeriodUntilTheNextView) {
  startAndTrack();
  tracker->active(false);
  advance(50);  // pings at 0, 15, 45; the period is now 60
  tracker->active(true);
  advance(120);
  EXPECT_THAT(pingTimes(), ElementsAre(0, 15, 45, 105, 165));
  tracker->trackView(view, std::string("/b"), std::string("B"));
  advance(30);
  EXPECT_THAT(pingTimes(), ElementsAre(0, 15, 45, 105, 165, 170, 185, 200));
}

TEST_F(HeartbeatTest, OfflineTicksSendNothingButKeepFirstPingAndKeepCounting) {
  tracker->setDebugMode(true);
  platform->reachability().setFlags(0);
  startAndTrack();
  EXPECT_EQ(pingCount(), 0u);
  EXPECT_TRUE(tracker->firstPing());
  advance(15);
  EXPECT_EQ(pingCount(), 0u);
  EXPECT_EQ(platform->log().count("[ZV]:Offline, not pinging"), 2u);
  EXPECT_EQ(in().engagement.engagedSecondsSinceLastPing(), 4u);
  platform->reachability().setFlags(reachability_flags::kReachable);
  advance(15);
  ASSERT_EQ(pingCount(), 1u);
  auto q = queryMap(lastUrl());
  EXPECT_EQ(q["n"], "0") << "sent as a full ping";
  EXPECT_EQ(q["c"], "0.50");
  EXPECT_EQ(q["E"], "4");
  EXPECT_EQ(q["e"], "4");
  EXPECT_FALSE(tracker->firstPing());
}

TEST_F(HeartbeatTest, TheLastPathIsSentOnlyOnTheFirstPingOfTheNextView) {
  startAndTrack("/a");
  EXPECT_FALSE(hasKey(lastUrl(), "v")) << "the first full ping carries the referrer instead";
  EXPECT_TRUE(hasKey(lastUrl(), "r"));
  tracker->trackView(view, std::string("/b"), std::string("B"));
  EXPECT_EQ(queryMap(lastUrl())["v"], "/a");
  // A full ping later on the same view (after an error answer) has no last path.
  platform->http().enqueueStatuses({404});
  advance(15);
  advance(15);
  EXPECT_EQ(queryMap(lastUrl())["n"], "0");
  EXPECT_FALSE(hasKey(lastUrl(), "v"));
  EXPECT_EQ(in().lastId, "/b");
}

TEST_F(HeartbeatTest, DomainAndSubDomainFallBackToTheApplicationIdentifier) {
  startAndTrack();
  auto q = queryMap(lastUrl());
  EXPECT_EQ(q["h"], "app");
  EXPECT_EQ(q["d"], "app");
  tracker->setDomain(std::string("news.example"));
  advance(15);
  q = queryMap(lastUrl());
  EXPECT_EQ(q["h"], "news.example");
  EXPECT_EQ(q["d"], "app");
}

TEST_F(HeartbeatTest, SetIntervalTakesEffectOnTheNextViewButAStartResetsIt) {
  tracker->startTrackerWithAccountID(9, std::string("app"));
  tracker->setInterval(30);
  EXPECT_EQ(in().schedule.interval(), 15u);
  tracker->trackView(view, std::string("/a"), std::string("A"));
  advance(30);
  EXPECT_THAT(pingTimes(), ElementsAre(0, 30));

  tracker->setInterval(30);
  tracker->startTrackerWithAccountID(9, std::string("app"));
  tracker->trackView(view, std::string("/b"), std::string("B"));
  advance(15);
  EXPECT_THAT(pingTimes(), ElementsAre(0, 30, 30, 45));
}

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

TEST_F(HeartbeatTest, PauseAndResumeMakeOneNewHeartbeatAndAFirstPingInTheSameSession) {
  startAndTrack();
  advance(20);  // pings at 0 and 15; 5 seconds counted
  const auto token = tracker->sessionToken();
  post(ApplicationEvent::kWillResignActive);
  EXPECT_FALSE(in().schedule.dwellTimer());
  EXPECT_EQ(platform->runLoop().activeTimerCount(), 0u);
  EXPECT_EQ(tracker->status(), 2u);
  advance(100);
  EXPECT_EQ(pingCount(), 2u);
  post(ApplicationEvent::kDidBecomeActive);
  EXPECT_EQ(platform->runLoop().activeTimerCount(), 1u);
  EXPECT_TRUE(tracker->firstPing());
  EXPECT_EQ(in().schedule.interval(), 15u);
  EXPECT_EQ(tracker->sessionToken(), token);
  advance(10);
  ASSERT_EQ(pingCount(), 3u);
  EXPECT_EQ(pingTimes().back(), 130);
  auto q = queryMap(lastUrl());
  EXPECT_EQ(q["t"], *token);
  EXPECT_TRUE(hasKey(lastUrl(), "n")) << "the first ping after a pause is full";
  EXPECT_TRUE(hasKey(lastUrl(), "r")) << "the resume made a new ping object";
}

TEST_F(HeartbeatTest, AResignWithoutAHeartbeatDoesNothing) {
  tracker->setDebugMode(true);
  post(ApplicationEvent::kWillResignActive);
  EXPECT_TRUE(platform->log().lines().empty());
}

TEST_F(HeartbeatTest, BecomingActiveBeforeAnyViewRecordsTheVisitButStartsNothing) {
  tracker->startTrackerWithAccountID(9, std::string("app"));
  post(ApplicationEvent::kWillResignActive);
  post(ApplicationEvent::kDidBecomeActive);
  EXPECT_EQ(platform->runLoop().activeTimerCount(), 0u);
  EXPECT_TRUE(platform->memoryStore().get(kZVUserVisitTrackingKey));
  EXPECT_TRUE(platform->memoryStore().get(kZVUserFirstVisitTrackingKey));
}

TEST_F(HeartbeatTest, AStoppedTrackerStaysStoppedUntilTheNextViewWhichRestartsEverything) {
  tracker->startTrackerWithAccountID(9, std::string("my.own.id"));
  tracker->trackView(view, std::string("/a"), std::string("A"));
  advance(5);
  const auto ping = in().ping;
  tracker->stopTracker();
  EXPECT_EQ(tracker->status(), 1u);
  EXPECT_FALSE(tracker->view());
  EXPECT_EQ(in().schedule.interval(), 0u);
  EXPECT_EQ(in().schedule.dwellTime(), 0u);
  EXPECT_EQ(in().engagement.remainingEngagedSeconds(), 0u);
  post(ApplicationEvent::kDidBecomeActive);
  advance(100);
  EXPECT_EQ(platform->runLoop().activeTimerCount(), 0u);
  EXPECT_EQ(pingCount(), 1u);

  EXPECT_TRUE(tracker->trackView(view, std::string("/a"), std::string("A")));
  EXPECT_EQ(tracker->status(), 2u);
  EXPECT_EQ(tracker->appid(), "com.example.app");
  EXPECT_NE(in().ping, ping);
  EXPECT_EQ(platform->runLoop().activeTimerCount(), 1u);
  EXPECT_EQ(pingCount(), 2u);
  advance(15);
  EXPECT_EQ(pingCount(), 3u);
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
  EXPECT_EQ(center.registrationCount(tracker.get(), kApplicationWillResignActiveNotification), 1001u);
  EXPECT_EQ(center.registrationCount(tracker.get(), kApplicationWillTerminateNotification), 1001u);
  EXPECT_EQ(center.registrationCount(tracker.get(), kApplicationDidBecomeActiveNotification), 1u);
  tracker->setDebugMode(true);
  post(ApplicationEvent::kWillResignActive);
  EXPECT_EQ(platform->log().count(
                "[ZV]: Got UIApplicationWillResignActiveNotification or UIApplicationWillTerminateNotification. Will stopTracker."),
            1u);
  EXPECT_EQ(platform->log().count("[ZV]: stopTracker."), 1u);
  EXPECT_FALSE(in().schedule.dwellTimer());
}

TEST_F(HeartbeatTest, ADecayPingIsFullWithoutALastPathAndChangesNoSchedule) {
  startAndTrack("/a");
  tracker->trackView(view, std::string("/b"), std::string("B"));
  advance(3);
  const uint32_t interval = in().schedule.interval();
  in().decayPing();
  auto q = queryMap(lastUrl());
  EXPECT_EQ(q["j"], "30");
  EXPECT_TRUE(hasKey(lastUrl(), "n"));
  EXPECT_FALSE(hasKey(lastUrl(), "v"));
  EXPECT_EQ(in().schedule.interval(), interval);
  EXPECT_FALSE(tracker->firstPing());
}

TEST_F(HeartbeatTest, TheReachabilityFlagsDecideWhetherAPingLeaves) {
  platform->reachability().setFlags(0x6);  // reachable, but a connection must be made first
  startAndTrack();
  advance(15);
  EXPECT_EQ(pingCount(), 0u);
  platform->reachability().setFlags(0x40002);  // a cellular route counts as reachable
  advance(15);
  EXPECT_EQ(pingCount(), 1u);
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
