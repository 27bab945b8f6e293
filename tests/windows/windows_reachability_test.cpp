// Reachability on Windows with injected events, and the other small services.
#include "platform/windows/windows_reachability_source.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>

#include "platform/portable/io_thread.h"
#include "platform/windows/bcrypt_uuid_source.h"
#include "zelvo/testing/testing_platform.h"

namespace zelvo::windows_platform {
namespace {

using namespace reachability_flags;
using namespace std::chrono_literals;
using zelvo::testing::ManualRunLoop;
using zelvo::testing::VirtualClock;

class WindowsReachabilityTest : public ::testing::Test {
 protected:
  WindowsReachabilityTest()
      : loop_(clock_),
        source_(loop_, nullptr, std::chrono::hours(1), [this](const std::optional<Ipv4SocketAddress>&) {
          return std::optional<uint32_t>(flags_.load());
        }) {}

  VirtualClock clock_{0.0};
  ManualRunLoop loop_;
  std::atomic<uint32_t> flags_{kReachable};
  WindowsReachabilitySource source_;
};

// Each change of the flags, seen by a notification or a poll (recheck), calls the target back
// once, on the main loop; a recheck without a change, or after unscheduling, calls nothing.
TEST_F(WindowsReachabilityTest, CallsBackOnceForEachChangeWhileScheduled) {
  auto target = source_.targetForHostName("ping.zelvo-analytics.net");
  ASSERT_NE(target, nullptr);
  int calls = 0;
  ASSERT_TRUE(target->setCallback([&] { ++calls; }));
  ASSERT_TRUE(target->scheduleOnMainRunLoop());
  EXPECT_EQ(target->flags(), kReachable);

  const struct {
    uint32_t flags;
    int callsAfter;
  } steps[] = {{kReachable, 0}, {0, 1}, {0, 1}, {kReachable, 2}};
  for (const auto& step : steps) {
    flags_ = step.flags;
    source_.recheck();
    loop_.runPendingTasks();
    EXPECT_EQ(calls, step.callsAfter) << step.flags;
  }
  target->unscheduleFromMainRunLoop();
  flags_ = 0;
  source_.recheck();
  loop_.runPendingTasks();
  EXPECT_EQ(calls, 2);
}

// The poll is the fallback where the system sends no notification: the I/O thread rechecks
// by itself.
TEST(WindowsReachabilityPollTest, ThePollNoticesAChangeWithoutANotification) {
  VirtualClock clock(0.0);
  ManualRunLoop loop(clock);
  std::atomic<uint32_t> flags{kReachable};
  auto io = std::make_shared<portable::IoThread>();
  WindowsReachabilitySource source(loop, io, 10ms,
                                   [&](const std::optional<Ipv4SocketAddress>&) { return std::optional<uint32_t>(flags.load()); });
  auto target = source.targetForHostName("ping.zelvo-analytics.net");
  int calls = 0;
  target->setCallback([&] { ++calls; });
  target->scheduleOnMainRunLoop();
  flags = 0;
  ASSERT_TRUE(loop.waitForPostedTask(10.0));
  EXPECT_EQ(calls, 1);
}

TEST(WindowsReachabilitySystemTest, ALoopbackAddressIsAlwaysReachableAndDirect) {
  Ipv4SocketAddress loopback;
  loopback.address = {127, 0, 0, 1};
  const std::optional<uint32_t> flags = WindowsReachabilitySource::systemFlags(loopback);
  ASSERT_TRUE(flags.has_value());
  EXPECT_EQ(*flags & (kReachable | kIsDirect), kReachable | kIsDirect);
}

TEST(BcryptUuidSourceTest, GivesDistinctVersion4Uuids) {
  BcryptUuidSource source;
  std::set<std::array<uint8_t, 16>> seen;
  for (int i = 0; i < 200; ++i) {
    const auto bytes = source.newUuidBytes();
    EXPECT_EQ(bytes[6] >> 4, 4);
    EXPECT_EQ(bytes[8] >> 6, 2);
    seen.insert(bytes);
  }
  EXPECT_EQ(seen.size(), 200u);
}

}  // namespace
}  // namespace zelvo::windows_platform
