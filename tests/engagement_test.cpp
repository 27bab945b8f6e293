#include "tracker_fixture.h"

#include "zelvo/constants.h"

namespace zelvo::test {
namespace {

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
  EXPECT_TRUE(in().userWroteSinceLastPing);
  EXPECT_FALSE(in().userReadSinceLastPing);
  post(ApplicationEvent::kKeyboardWillHide);
  touch();
  post(ApplicationEvent::kKeyboardDidShow);
  touch();
  EXPECT_TRUE(in().userReadSinceLastPing);
  EXPECT_TRUE(in().userWroteSinceLastPing);
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

TEST_F(EngagementTest, ATouchGrantsTheWindowAndASecondTouchReplacesTheCredit) {
  advance(10);  // the view's own grant is spent
  EXPECT_EQ(in().engagedSeconds, 4u);
  touch();
  advance(10);
  EXPECT_EQ(in().engagedSeconds, 8u);
  touch();
  advance(2);
  touch();
  advance(10);
  EXPECT_EQ(in().engagedSeconds, 14u) << "4 + 4 + 2 + 4";
}

TEST_F(EngagementTest, EveryMoveEventGrantsButTheCreditStaysAtTheWindow) {
  int notifications = 0;
  platform->notificationCenter().addObserver(&notifications, "__zv__TouchEventNotification",
                                             [&](const Notification&) { ++notifications; });
  touch(50);
  EXPECT_EQ(notifications, 50);
  EXPECT_EQ(in().remainingEngagedSeconds, 4u);
}

TEST_F(EngagementTest, MotionAndRemoteControlEventsGrantNothingButReachTheApplication) {
  int handled = 0;
  platform->eventDispatch().setApplicationHandler([&](const Event&) { ++handled; });
  advance(10);
  touch(3, EventType::kMotion);
  touch(2, EventType::kRemoteControl);
  touch(1, EventType::kPresses);
  EXPECT_EQ(handled, 6);
  EXPECT_EQ(in().remainingEngagedSeconds, 0u);
  EXPECT_FALSE(in().userReadSinceLastPing);
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

TEST_F(EngagementTest, TheWindowFollowsTheConfigurationAndKeepsTheNumberAsItCame) {
  auto config = in().configuration();
  auto check = [&](Value window, uint32_t expected, std::optional<Value> stored) {
    config->setConfig(std::make_shared<const Value>(Value::Dictionary{{"engagement_window", window}}));
    in().updateEngagementWindow();
    EXPECT_EQ(in().engagementWindow, expected);
    EXPECT_EQ(platform->memoryStore().get(kZVEngagementWindowKey), stored);
  };
  check(Value(7.9), 7, Value(7.9));
  check(Value(0), 7, Value(7.9));
  check(Value("9"), 7, Value(7.9));
  check(Value(-1), 4294967295u, Value(-1));
  check(Value(true), 1, Value(true));
  config->setConfig(std::make_shared<const Value>(Value::Dictionary{{"other", Value(3)}}));
  in().updateEngagementWindow();
  EXPECT_EQ(in().engagementWindow, 1u);

  platform->memoryStore().set(kZVEngagementWindowKey, Value(7.9));
  restart();
  EXPECT_EQ(in().engagementWindow, 7u);
}

TEST_F(EngagementTest, TheFirstReturnWithoutAFetchedConfigurationUsesFive) {
  EXPECT_EQ(in().engagementWindow, 4u);
  post(ApplicationEvent::kWillResignActive);
  post(ApplicationEvent::kDidBecomeActive);
  EXPECT_EQ(in().engagementWindow, 5u);
  EXPECT_EQ(platform->memoryStore().get(kZVEngagementWindowKey), Value(5));
  restart();
  EXPECT_EQ(in().engagementWindow, 5u);
}

TEST_F(EngagementTest, AStopClearsTheCountersButAPauseKeepsThem) {
  touch();
  advance(2);
  post(ApplicationEvent::kWillResignActive);
  EXPECT_EQ(in().engagedSeconds, 2u);
  EXPECT_EQ(in().remainingEngagedSeconds, 2u);
  tracker->stopTracker();
  EXPECT_EQ(in().engagedSeconds, 0u);
  EXPECT_EQ(in().remainingEngagedSeconds, 0u);
  EXPECT_FALSE(in().userReadSinceLastPing);
}

}  // namespace
}  // namespace zelvo::test
