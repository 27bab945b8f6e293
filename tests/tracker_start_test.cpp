#include "tracker_fixture.h"

#include "zelvo/application_events.h"
#include "zelvo/constants.h"

namespace zelvo::test {
namespace {

// What the setters put on the wire is in tests/scenarios/host_settings.jsonl.


TEST_F(TrackerTest, StartingTwiceKeepsOneHeartbeatAndOneSetOfObserversButReplacesThePing) {
  tracker->startTrackerWithAccountID(7, std::string("com.example.news"));
  auto firstTimer = in().schedule.dwellTimer();
  auto firstPing = in().ping;
  ASSERT_TRUE(firstTimer);
  ASSERT_TRUE(firstPing);
  tracker->setInterval(40);
  in().schedule.setIntervalForTesting(99);

  EXPECT_TRUE(tracker->startTrackerWithAccountID(8, std::string("com.example.other")));
  EXPECT_EQ(in().schedule.dwellTimer(), firstTimer);
  EXPECT_NE(in().ping, firstPing);
  EXPECT_EQ(platform->runLoop().activeTimerCount(), 1u);
  EXPECT_EQ(in().schedule.interval(), 15u);
  EXPECT_EQ(in().schedule.initialInterval(), 15u);
  EXPECT_EQ(tracker->uid(), 8u);
  EXPECT_EQ(tracker->status(), 2u);
  NotificationCenter& center = platform->notificationCenter();
  EXPECT_EQ(center.registrationCount(tracker.get(), kApplicationWillResignActiveNotification), 1u);
  EXPECT_EQ(center.registrationCount(tracker.get(), kApplicationDidBecomeActiveNotification), 1u);
}

TEST_F(TrackerTest, TheHookIsInstalledOncePerApplication) {
  tracker->startTrackerWithAccountID(1, std::string("app"));
  tracker->startTrackerWithAccountID(1, std::string("app"));
  tracker->trackView(std::make_shared<SimpleView>(), std::string("/a"), std::string("A"));
  in().engagement.resetPerPingEngagementMetrics();
  int touches = 0;
  platform->notificationCenter().addObserver(&touches, "__zv__TouchEventNotification", [&](const Notification&) { ++touches; });
  platform->eventDispatch().sendEvent(Event{EventType::kTouches});
  EXPECT_EQ(touches, 1);
  EXPECT_TRUE(in().engagement.userReadSinceLastPing());
}

// The gates: standard lines need debug mode and level 0, error lines level 3 or less, the
// initialization-time line level 0 or 1.
struct GateCase {
  bool debug;
  uint64_t level;
  bool standard;
  bool initTime;
  bool error;
};

class LogGateTest : public TrackerTest, public ::testing::WithParamInterface<GateCase> {};

TEST_P(LogGateTest, EachKindOfLineHasItsGate) {
  const GateCase c = GetParam();
  tracker->setDebugMode(c.debug);
  tracker->setLogLevel(c.level);
  platform->http().enqueueStatuses({404});
  tracker->startTrackerWithAccountID(5, std::string("app"));
  tracker->trackView(std::make_shared<SimpleView>(), std::string("/a"), std::string("A"));
  auto starts = [&](const std::string& prefix) {
    for (const auto& line : platform->log().lines()) {
      if (line.rfind(prefix, 0) == 0) return true;
    }
    return false;
  };
  EXPECT_EQ(starts("[ZV]:startTrackerWithAccountID: 5 appid:app"), c.standard);
  EXPECT_EQ(starts("[ZV]:************************************************ ZVTracker initialization time: "), c.initTime);
  EXPECT_EQ(starts("[ZV]:Got non-200 response code: 404"), c.error);
}

INSTANTIATE_TEST_SUITE_P(Gates, LogGateTest,
                         ::testing::Values(GateCase{false, 0, false, false, false}, GateCase{true, 0, true, true, true},
                                           GateCase{true, 1, false, true, true}, GateCase{true, 2, false, false, true},
                                           GateCase{true, 3, false, false, true}, GateCase{true, 4, false, false, false},
                                           GateCase{false, 3, false, false, false}));

// The start's own time, in milliseconds: here reading the device's model takes a quarter second.
TEST(TrackerStartTest, StartLogsTheAppidAsNullWhenMissingAndMeasuresItsTime) {
  class SlowModel : public DeviceInfo {
   public:
    explicit SlowModel(testing::VirtualClock& clock) : clock_(clock) {}
    std::string modelName() const override {
      clock_.set(clock_.now() + 0.25);
      return "iPhone";
    }
    std::optional<std::string> applicationIdentifier() const override { return std::nullopt; }

   private:
    testing::VirtualClock& clock_;
  };
  struct SlowPlatform : testing::TestingPlatform {
    SlowPlatform() : TestingPlatform(kStart) {}
    DeviceInfo& deviceInfo() override { return device; }
    SlowModel device{virtualClock()};
  };
  auto platform = std::make_shared<SlowPlatform>();
  auto tracker = ZVTracker::create(platform);
  tracker->setDebugMode(true);
  tracker->startTrackerWithAccountID(4000000000u, std::nullopt);
  EXPECT_EQ(platform->log().count("[ZV]:startTrackerWithAccountID: -294967296 appid:(null)"), 1u);
  EXPECT_DOUBLE_EQ(tracker->initializationTime(), 250.0);
}

}  // namespace
}  // namespace zelvo::test
