// The process-wide tracker and configuration. They live for the process, so this is the only
// test of the binary that installs a platform for them.
#include <gtest/gtest.h>

#include <thread>

#include "zelvo/testing/testing_platform.h"
#include "zelvo/zelvo_config.h"
#include "zelvo/zv_tracker.h"

namespace zelvo::test {
namespace {

TEST(SharedTrackerTest, OneTrackerAndOneConfigurationForTheProcessOnTheInstalledPlatform) {
  auto platform = std::make_shared<zelvo::testing::TestingPlatform>();
  platform->device().setModelName("iPad");
  ASSERT_TRUE(installPlatform(platform));
  EXPECT_FALSE(installPlatform(std::make_shared<zelvo::testing::TestingPlatform>())) << "the first one stays";
  EXPECT_EQ(installedPlatform(), platform);

  std::shared_ptr<ZVTracker> fromThreads[2];
  std::thread a([&] { fromThreads[0] = ZVTracker::sharedTracker(); });
  std::thread b([&] { fromThreads[1] = ZVTracker::sharedTracker(); });
  a.join();
  b.join();
  auto tracker = ZVTracker::sharedTracker();
  EXPECT_EQ(fromThreads[0], tracker);
  EXPECT_EQ(fromThreads[1], tracker);
  EXPECT_EQ(tracker->copy(), tracker);

  tracker->setDebugMode(true);
  std::shared_ptr<ZelvoConfig> configs[2];
  std::thread c([&] { configs[0] = ZelvoConfig::getInstance(); });
  std::thread d([&] { configs[1] = ZelvoConfig::getInstance(); });
  c.join();
  d.join();
  EXPECT_EQ(configs[0], configs[1]);
  EXPECT_EQ(platform->log().count("[ZV]:Initialized Zelvo Config Fetcher"), 1u);

  EXPECT_NE(ZVTracker::getUserAgent().find("(iPad; CPU iPad OS"), std::string::npos);
  tracker->setDebugMode(false);
}

}  // namespace
}  // namespace zelvo::test
