#include "tracker_fixture.h"

#include "engagement/engagement.h"
#include "zelvo/constants.h"

namespace zelvo::test {
namespace {

// The component alone: grants, spending and resets.
class EngagementComponentTest : public ComponentTest {
 protected:
  Engagement engagement{&store};
};

TEST_F(EngagementComponentTest, AGrantReplacesTheCreditAndEachSecondSpendsOne) {
  EXPECT_FALSE(engagement.userReadSinceLastPing()) << "nothing read yet";
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

// How the window follows the store and the configuration is in
// tests/scenarios/engagement_window.jsonl; a stored zero is taken as it is, and a fetched
// window is written through at once, as it came.
TEST_F(EngagementComponentTest, AStoredZeroWindowIsTakenAsItIsAndAFetchedOneWrittenThrough) {
  store.set(kZVEngagementWindowKey, Value(0));
  engagement.loadEngagementWindow();
  EXPECT_EQ(engagement.engagementWindow(), 0u);
  const int syncs = store.synchronizeCount();
  engagement.updateEngagementWindow(
      std::make_shared<const Value>(Value::Dictionary{{kZelvoConfigEngagementWindowKey, Value(7.9)}}));
  EXPECT_EQ(engagement.engagementWindow(), 7u);
  EXPECT_EQ(store.get(kZVEngagementWindowKey), Value(7.9));
  EXPECT_EQ(store.synchronizeCount(), syncs + 1);
}

// Through the tracker: the hook and the lifecycle. What the pings say of it is in
// tests/scenarios/engagement.jsonl.
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

TEST_F(EngagementTest, OnlyTouchesGrantAndEveryEventReachesTheApplication) {
  int handled = 0;
  int notifications = 0;
  platform->eventDispatch().setApplicationHandler([&](const Event&) { ++handled; });
  platform->notificationCenter().addObserver(&notifications, "__zv__TouchEventNotification",
                                             [&](const Notification&) { ++notifications; });
  advance(10);
  touch(3, EventType::kMotion);
  touch(2, EventType::kRemoteControl);
  touch(1, EventType::kPresses);
  EXPECT_EQ(in().engagement.remainingEngagedSeconds(), 0u);
  EXPECT_FALSE(in().engagement.userReadSinceLastPing());
  touch(50);
  EXPECT_EQ(handled, 56);
  EXPECT_EQ(notifications, 50);
  EXPECT_EQ(in().engagement.remainingEngagedSeconds(), 4u) << "the credit stays at the window";
  // The host's own engagement event, while the keyboard shows, is writing.
  post(ApplicationEvent::kKeyboardDidShow);
  tracker->registeredUserEngagementEvent();
  EXPECT_TRUE(in().engagement.userWroteSinceLastPing());
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
