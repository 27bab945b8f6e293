#include "tracker_fixture.h"

#include <mutex>

#include "engagement/engagement.h"
#include "zelvo/constants.h"

namespace zelvo::test {
namespace {

// The component alone: grants, spending and resets.
class EngagementComponentTest : public ::testing::Test {
 protected:
  zelvo::testing::TestingPlatform platform{kStart};
  std::recursive_mutex monitor;
  Engagement engagement{platform, monitor};
};

TEST_F(EngagementComponentTest, AGrantReplacesTheCreditAndEachSecondSpendsOne) {
  engagement.loadEngagementWindow();
  ASSERT_EQ(engagement.engagementWindow(), 4u);
  engagement.userEngaged(false);
  engagement.countEngagedSecond();
  engagement.userEngaged(false);
  EXPECT_EQ(engagement.remainingEngagedSeconds(), 4u) << "replaced, not added to";
  for (int i = 0; i < 6; ++i) engagement.countEngagedSecond();
  EXPECT_EQ(engagement.engagedSeconds(), 5u);
  EXPECT_FALSE(engagement.userWroteSinceLastPing());
  engagement.keyboardDidShow();
  engagement.registeredUserEngagementEvent();
  EXPECT_TRUE(engagement.userWroteSinceLastPing());
  engagement.countEngagedSecond();
  engagement.resetPerPingEngagementMetrics();
  EXPECT_FALSE(engagement.userReadSinceLastPing());
  EXPECT_FALSE(engagement.userWroteSinceLastPing());
  EXPECT_EQ(engagement.engagedSecondsSinceLastPing(), 0u);
  EXPECT_EQ(engagement.engagedSeconds(), 6u);
  EXPECT_EQ(engagement.remainingEngagedSeconds(), 3u) << "the credit carries over a ping";
  engagement.resetEngagementMetrics();
  EXPECT_EQ(engagement.engagedSeconds(), 0u);
  EXPECT_EQ(engagement.remainingEngagedSeconds(), 0u);
}

TEST_F(EngagementComponentTest, TheWindowFollowsTheConfigurationAndKeepsTheNumberAsItCame) {
  auto check = [&](Value window, uint32_t expected, std::optional<Value> stored) {
    engagement.updateEngagementWindow(std::make_shared<const Value>(Value::Dictionary{{"engagement_window", window}}));
    EXPECT_EQ(engagement.engagementWindow(), expected);
    EXPECT_EQ(platform.memoryStore().get(kZVEngagementWindowKey), stored);
  };
  check(Value(7.9), 7, Value(7.9));
  check(Value(0), 7, Value(7.9));
  check(Value("9"), 7, Value(7.9));
  check(Value(-1), 4294967295u, Value(-1));
  check(Value(true), 1, Value(true));
  engagement.updateEngagementWindow(std::make_shared<const Value>(Value::Dictionary{{"other", Value(3)}}));
  EXPECT_EQ(engagement.engagementWindow(), 1u);

  for (auto [stored, window] : {std::pair{Value(7.9), 7u}, std::pair{Value(0), 0u}}) {
    platform.memoryStore().set(kZVEngagementWindowKey, stored);
    engagement.loadEngagementWindow();
    EXPECT_EQ(engagement.engagementWindow(), window) << "a stored zero is taken as it is";
  }
}

// Through the tracker: the hook, the keyboard notifications, the heartbeat and the lifecycle.
class EngagementTest : public TrackerTest {
 protected:
  void SetUp() override {
    tracker->startTrackerWithAccountID(9, std::string("app"));
    tracker->trackView(view, std::string("/a"), std::string("A"));
  }
  void touch(int count = 1, EventType type = EventType::kTouches) {
    for (int i = 0; i < count; ++i) platform->eventDispatch().sendEvent(Event{type});
  }
  std::shared_ptr<View> view = std::make_shared<SimpleView>(Size{320, 480});
};

TEST_F(EngagementTest, ATouchWithTheKeyboardUpMarksWritingAndWritingWinsInThePing) {
  advance(5);
  post(ApplicationEvent::kKeyboardDidShow);
  touch();
  post(ApplicationEvent::kKeyboardWillHide);
  touch();
  post(ApplicationEvent::kKeyboardDidShow);
  touch();
  advance(10);
  auto q = queryMap(lastUrl());
  EXPECT_EQ(q["R"], "0");
  EXPECT_EQ(q["W"], "1");
  EXPECT_EQ(q["I"], "0");
  advance(15);
  q = queryMap(lastUrl());
  EXPECT_EQ(q["I"], "1") << "the flags cover one ping period only";
}

TEST_F(EngagementTest, TheFirstPingOfAViewReportsReading) {
  auto q = queryMap(lastUrl());
  EXPECT_EQ(q["R"], "1");
  EXPECT_EQ(q["E"], "0");
  EXPECT_EQ(q["e"], "0");
}

TEST_F(EngagementTest, EveryMoveEventGrantsButTheCreditStaysAtTheWindow) {
  int notifications = 0;
  platform->notificationCenter().addObserver(&notifications, "__zv__TouchEventNotification",
                                             [&](const Notification&) { ++notifications; });
  touch(50);
  EXPECT_EQ(notifications, 50);
  EXPECT_EQ(in().engagement.remainingEngagedSeconds(), 4u);
}

TEST_F(EngagementTest, MotionAndRemoteControlEventsGrantNothingButReachTheApplication) {
  int handled = 0;
  platform->eventDispatch().setApplicationHandler([&](const Event&) { ++handled; });
  advance(10);
  touch(3, EventType::kMotion);
  touch(2, EventType::kRemoteControl);
  touch(1, EventType::kPresses);
  EXPECT_EQ(handled, 6);
  EXPECT_EQ(in().engagement.remainingEngagedSeconds(), 0u);
  EXPECT_FALSE(in().engagement.userReadSinceLastPing());
}

TEST_F(EngagementTest, CreditLeftAtAPingIsSpentAfterIt) {
  advance(14.5);
  touch();
  advance(0.5);  // the heartbeat spends one second, then pings
  EXPECT_EQ(queryMap(lastUrl())["e"], "5");
  advance(15);
  auto q = queryMap(lastUrl());
  EXPECT_EQ(q["e"], "3");
  EXPECT_EQ(q["E"], "8");
}

TEST_F(EngagementTest, TheFirstReturnWithoutAFetchedConfigurationUsesFive) {
  EXPECT_EQ(in().engagement.engagementWindow(), 4u);
  post(ApplicationEvent::kWillResignActive);
  post(ApplicationEvent::kDidBecomeActive);
  EXPECT_EQ(in().engagement.engagementWindow(), 5u);
  EXPECT_EQ(platform->memoryStore().get(kZVEngagementWindowKey), Value(5));
  restart();
  EXPECT_EQ(in().engagement.engagementWindow(), 5u);
}

TEST_F(EngagementTest, AStopClearsTheCountersButAPauseKeepsThem) {
  touch();
  advance(2);
  post(ApplicationEvent::kWillResignActive);
  EXPECT_EQ(in().engagement.engagedSeconds(), 2u);
  EXPECT_EQ(in().engagement.remainingEngagedSeconds(), 2u);
  tracker->stopTracker();
  EXPECT_EQ(in().engagement.engagedSeconds(), 0u);
  EXPECT_EQ(in().engagement.remainingEngagedSeconds(), 0u);
  EXPECT_FALSE(in().engagement.userReadSinceLastPing());
}

}  // namespace
}  // namespace zelvo::test
