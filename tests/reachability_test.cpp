#include "zelvo/zv_reachability.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zelvo/testing/testing_platform.h"

namespace zelvo {
namespace {

class ReachabilityTest : public ::testing::Test {
 protected:
  ReachabilityTest() {
    platform.notificationCenter().addObserver(this, "kZVNetworkReachabilityChangedNotification",
                                              [this](const Notification& notification) {
                                                EXPECT_TRUE(platform.runLoop().isMainThread());
                                                EXPECT_EQ(notification.userInfo, nullptr);
                                                posted.push_back(notification.object);
                                              });
  }
  ~ReachabilityTest() override { platform.notificationCenter().removeObserver(this); }
  void setFlags(std::optional<uint32_t> flags) {
    platform.reachability().setFlags(flags);
    platform.runLoop().runPendingTasks();
  }

  zelvo::testing::TestingPlatform platform;
  std::vector<const void*> posted;
};

// The internet monitor's general rule and the local Wi-Fi monitor's, over the flags read now.
TEST_F(ReachabilityTest, EachMonitorReducesTheFlagsByItsRule) {
  auto internet = ZVReachability::reachabilityForInternetConnection(platform);
  auto local = ZVReachability::reachabilityForLocalWiFi(platform);
  ASSERT_TRUE(internet && local);
  EXPECT_FALSE(internet->localWiFiRef());
  EXPECT_TRUE(local->localWiFiRef());
  struct Case { std::optional<uint32_t> flags; int32_t internet, local; bool connectionRequired; };
  for (const Case& c : {Case{0x2, 1, 0, false}, Case{0x6, 0, 0, true}, Case{0xE, 1, 0, true}, Case{0x36, 0, 0, true},
                        Case{0x26, 1, 0, true}, Case{0x40006, 1, 0, true}, Case{0x40002, 1, 0, false},
                        Case{0x40000, 0, 0, false}, Case{0x0, 0, 0, false}, Case{0x20002, 1, 1, false},
                        Case{0x20000, 0, 0, false}, Case{0x60006, 1, 1, true}, Case{std::nullopt, 0, 0, false}}) {
    platform.reachability().setFlags(c.flags);
    platform.reachability().setLocalFlags(c.flags);
    const uint32_t flags = c.flags.value_or(0);
    EXPECT_EQ(internet->currentReachabilityStatus(), c.internet) << std::hex << flags;
    EXPECT_EQ(local->currentReachabilityStatus(), c.local) << std::hex << flags;
    EXPECT_EQ(internet->connectionRequired(), c.connectionRequired) << std::hex << flags;
    EXPECT_EQ(internet->networkStatusForFlags(flags), c.internet) << std::hex << flags;
  }
  const auto requested = platform.reachability().requestedAddresses();
  ASSERT_EQ(requested.size(), 2u);
  for (const Ipv4SocketAddress& address : requested) {
    EXPECT_EQ(address.length, 16);
    EXPECT_EQ(address.family, 2);
    EXPECT_EQ(address.port, 0);
  }
  EXPECT_EQ(requested[0].address, (std::array<uint8_t, 4>{0, 0, 0, 0}));
  EXPECT_EQ(requested[1].address, (std::array<uint8_t, 4>{169, 254, 0, 0}));
}

TEST_F(ReachabilityTest, RefusedTargetGivesNoMonitor) {
  platform.reachability().setRefuseTargets(true);
  EXPECT_EQ(ZVReachability::reachabilityForInternetConnection(platform), nullptr);
  EXPECT_EQ(ZVReachability::reachabilityForLocalWiFi(platform), nullptr);
  EXPECT_EQ(ZVReachability::reachabilityWithHostName(platform, "example.com"), nullptr);
  EXPECT_EQ(ZVReachability::reachabilityWithAddress(platform, Ipv4SocketAddress{}), nullptr);
}

// A change is posted on the main run loop, with the monitor as its object, only between
// startNotifier and stopNotifier, and never for a monitor already gone.
TEST_F(ReachabilityTest, ChangesArePostedWhileTheNotifierRuns) {
  platform.reachability().setFlags(0x2);
  auto monitor = ZVReachability::reachabilityForInternetConnection(platform);
  monitor->stopNotifier();  // never started: nothing happens
  setFlags(0);
  EXPECT_TRUE(posted.empty());

  ASSERT_TRUE(monitor->startNotifier());
  platform.reachability().setFlags(0x2);
  EXPECT_TRUE(posted.empty()) << "posted before the run loop ran";
  platform.runLoop().runPendingTasks();
  EXPECT_EQ(posted, std::vector<const void*>{monitor.get()});

  monitor->stopNotifier();
  setFlags(0);
  EXPECT_EQ(posted.size(), 1u);

  ASSERT_TRUE(monitor->startNotifier());
  platform.reachability().setFlags(0x2);
  monitor.reset();
  platform.runLoop().runPendingTasks();
  EXPECT_EQ(posted.size(), 1u);
}

// A monitor that treats a required connection as reachable.
class OptimisticReachability : public ZVReachability {
 public:
  explicit OptimisticReachability(Platform& platform)
      : ZVReachability(platform, platform.reachabilitySource().targetForAddress(Ipv4SocketAddress{})) {}
  NetworkStatus networkStatusForFlags(uint32_t flags) override {
    return (flags & reachability_flags::kReachable) != 0 ? kStatusReachable : kStatusNotReachable;
  }
};

TEST_F(ReachabilityTest, SubclassRuleIsUsedForTheCurrentStatus) {
  OptimisticReachability monitor(platform);
  platform.reachability().setFlags(0x6);
  EXPECT_EQ(monitor.currentReachabilityStatus(), 1);
  ASSERT_TRUE(monitor.startNotifier());
  setFlags(0);
  EXPECT_EQ(posted, std::vector<const void*>{&monitor});
}

}  // namespace
}  // namespace zelvo
