#include "zelvo/zv_reachability.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zelvo/testing/testing_platform.h"

namespace zelvo {
namespace {

constexpr const char* kChanged = "kZVNetworkReachabilityChangedNotification";

class ReachabilityTest : public ::testing::Test {
 protected:
  ReachabilityTest() {
    platform.notificationCenter().addObserver(this, kChanged, [this](const Notification& notification) {
      EXPECT_TRUE(platform.runLoop().isMainThread());
      EXPECT_EQ(notification.userInfo, nullptr);
      posted.push_back(notification.object);
    });
  }
  ~ReachabilityTest() override { platform.notificationCenter().removeObserver(this); }

  zelvo::testing::TestingPlatform platform;
  std::vector<const void*> posted;
};

TEST_F(ReachabilityTest, GeneralRuleReducesTheFlagsReadNow) {
  auto monitor = ZVReachability::reachabilityForInternetConnection(platform);
  ASSERT_NE(monitor, nullptr);
  EXPECT_FALSE(monitor->localWiFiRef());
  const std::vector<std::pair<uint32_t, int32_t>> examples = {
      {0x2, 1}, {0x6, 0}, {0xE, 1}, {0x36, 0}, {0x40006, 1}, {0x40002, 1}, {0x40000, 0}, {0x0, 0}, {0x26, 1}};
  for (const auto& [flags, status] : examples) {
    platform.reachability().setFlags(flags);
    EXPECT_EQ(monitor->currentReachabilityStatus(), status) << std::hex << flags;
    EXPECT_EQ(monitor->networkStatusForFlags(flags), status) << std::hex << flags;
  }
}

TEST_F(ReachabilityTest, LocalWiFiMonitorUsesTheLocalRule) {
  auto monitor = ZVReachability::reachabilityForLocalWiFi(platform);
  ASSERT_NE(monitor, nullptr);
  EXPECT_TRUE(monitor->localWiFiRef());
  const std::vector<std::pair<uint32_t, int32_t>> examples = {{0x20002, 1}, {0x2, 0}, {0x20000, 0}, {0x60006, 1}};
  for (const auto& [flags, status] : examples) {
    platform.reachability().setLocalFlags(flags);
    EXPECT_EQ(monitor->currentReachabilityStatus(), status) << std::hex << flags;
    EXPECT_EQ(monitor->localWiFiStatusForFlags(flags), status) << std::hex << flags;
  }
}

TEST_F(ReachabilityTest, AddressConstructorsAskForTheZeroAndLinkLocalAddresses) {
  ASSERT_NE(ZVReachability::reachabilityForInternetConnection(platform), nullptr);
  ASSERT_NE(ZVReachability::reachabilityForLocalWiFi(platform), nullptr);
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

TEST_F(ReachabilityTest, UnreadableFlagsAreNotReachableAndRequireNoConnection) {
  auto internet = ZVReachability::reachabilityForInternetConnection(platform);
  auto local = ZVReachability::reachabilityForLocalWiFi(platform);
  platform.reachability().setFlags(0x6);
  EXPECT_TRUE(internet->connectionRequired());
  platform.reachability().setFlags(0x2);
  EXPECT_FALSE(internet->connectionRequired());

  platform.reachability().setFlags(std::nullopt);
  platform.reachability().setLocalFlags(std::nullopt);
  EXPECT_EQ(internet->currentReachabilityStatus(), 0);
  EXPECT_FALSE(internet->connectionRequired());
  EXPECT_EQ(local->currentReachabilityStatus(), 0);
}

TEST_F(ReachabilityTest, RefusedTargetGivesNoMonitor) {
  platform.reachability().setRefuseTargets(true);
  EXPECT_EQ(ZVReachability::reachabilityForInternetConnection(platform), nullptr);
  EXPECT_EQ(ZVReachability::reachabilityForLocalWiFi(platform), nullptr);
  EXPECT_EQ(ZVReachability::reachabilityWithHostName(platform, "example.com"), nullptr);
  EXPECT_EQ(ZVReachability::reachabilityWithAddress(platform, Ipv4SocketAddress{}), nullptr);
  platform.reachability().setRefuseTargets(false);
  auto host = ZVReachability::reachabilityWithHostName(platform, "example.com");
  ASSERT_NE(host, nullptr);
  EXPECT_FALSE(host->localWiFiRef());
}

TEST_F(ReachabilityTest, ChangeIsPostedOnTheMainRunLoopWithTheMonitorAsObject) {
  platform.reachability().setFlags(0x2);
  auto monitor = ZVReachability::reachabilityForInternetConnection(platform);
  auto other = ZVReachability::reachabilityForLocalWiFi(platform);
  ASSERT_TRUE(monitor->startNotifier());
  platform.reachability().setFlags(0);
  EXPECT_TRUE(posted.empty()) << "posted before the run loop ran";
  platform.runLoop().runPendingTasks();
  ASSERT_EQ(posted.size(), 1u);
  EXPECT_EQ(posted[0], monitor.get());
  EXPECT_EQ(monitor->currentReachabilityStatus(), 0);

  monitor->stopNotifier();
  platform.reachability().setFlags(0x2);
  platform.runLoop().runPendingTasks();
  EXPECT_EQ(posted.size(), 1u);
}

TEST_F(ReachabilityTest, StopNotifierOnANeverStartedMonitorPostsNothing) {
  auto monitor = ZVReachability::reachabilityForInternetConnection(platform);
  monitor->stopNotifier();
  platform.reachability().setFlags(0);
  platform.runLoop().runPendingTasks();
  EXPECT_TRUE(posted.empty());
  EXPECT_EQ(monitor->currentReachabilityStatus(), 0);
}

TEST_F(ReachabilityTest, DestroyingAStartedMonitorWithAChangePendingPostsNothing) {
  auto monitor = ZVReachability::reachabilityForInternetConnection(platform);
  ASSERT_TRUE(monitor->startNotifier());
  platform.reachability().setFlags(0);
  monitor.reset();
  platform.runLoop().runPendingTasks();
  EXPECT_TRUE(posted.empty());
}

// A monitor that treats a required connection as reachable, and records what it was asked.
class OptimisticReachability : public ZVReachability {
 public:
  explicit OptimisticReachability(Platform& platform)
      : ZVReachability(platform, platform.reachabilitySource().targetForAddress(Ipv4SocketAddress{})) {}
  NetworkStatus networkStatusForFlags(uint32_t flags) override {
    asked.push_back(flags);
    return (flags & reachability_flags::kReachable) != 0 ? kStatusReachable : kStatusNotReachable;
  }
  std::vector<uint32_t> asked;
};

TEST_F(ReachabilityTest, SubclassRuleIsUsedForTheCurrentStatus) {
  OptimisticReachability monitor(platform);
  platform.reachability().setFlags(0x6);
  EXPECT_EQ(monitor.currentReachabilityStatus(), 1);
  EXPECT_EQ(monitor.asked, std::vector<uint32_t>{0x6});
  // A subclass made on the stack notifies like any other monitor.
  ASSERT_TRUE(monitor.startNotifier());
  platform.reachability().setFlags(0);
  platform.runLoop().runPendingTasks();
  EXPECT_EQ(posted, std::vector<const void*>{&monitor});
}

}  // namespace
}  // namespace zelvo
