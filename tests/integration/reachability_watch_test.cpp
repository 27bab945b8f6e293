#include "platform/linux/reachability_watch.h"

#include <gtest/gtest.h>

#include <atomic>

#include "zelvo/testing/testing_platform.h"

namespace zelvo::linux_platform {
namespace {

// Internet flags as the test sets them.
class SettableProbe : public RouteProbe {
 public:
  explicit SettableProbe(std::shared_ptr<std::optional<uint32_t>> flags) : flags_(std::move(flags)) {}
  std::optional<uint32_t> internetFlags() override { return *flags_; }
  std::optional<uint32_t> linkLocalFlags() override { return std::nullopt; }
  std::optional<uint32_t> addressFlags(const IpAddress&) override { return std::nullopt; }

 private:
  std::shared_ptr<std::optional<uint32_t>> flags_;
};

class ReachabilityWatchTest : public ::testing::Test {
 protected:
  ReachabilityWatchTest() {
    state->callback = [this] { ++calls; };
  }

  zelvo::testing::VirtualClock clock;
  zelvo::testing::ManualRunLoop loop{clock};
  zelvo::testing::ManualExecutor resolver;
  std::shared_ptr<std::optional<uint32_t>> flags = std::make_shared<std::optional<uint32_t>>(0u);
  std::shared_ptr<ReachabilityWatch> watch =
      std::make_shared<ReachabilityWatch>(loop, resolver, std::make_unique<SettableProbe>(flags));
  std::shared_ptr<TargetState> state =
      std::make_shared<TargetState>(TargetState::Kind::kInternet, IpAddress{}, std::string());
  int calls = 0;
};

TEST_F(ReachabilityWatchTest, AnnouncesOnlyChangesOfScheduledTargets) {
  watch->recheckScheduled();
  *flags = 2u;
  watch->recheckScheduled();
  loop.runPendingTasks();
  EXPECT_EQ(calls, 0) << "not scheduled";

  ASSERT_TRUE(watch->schedule(state));
  watch->recheckScheduled();
  loop.runPendingTasks();
  EXPECT_EQ(calls, 0) << "unchanged since scheduling";
  *flags = 0u;
  watch->recheckScheduled();
  EXPECT_EQ(calls, 0) << "called back only from the run loop";
  loop.runPendingTasks();
  EXPECT_EQ(calls, 1);
  *flags = std::nullopt;  // becoming unreadable is a change too
  watch->recheckScheduled();
  watch->recheckScheduled();
  loop.runPendingTasks();
  EXPECT_EQ(calls, 2);

  *flags = 2u;  // unscheduling drops a change already queued
  watch->recheckScheduled();
  watch->unschedule(state);
  loop.runPendingTasks();
  EXPECT_EQ(calls, 2);
}

TEST_F(ReachabilityWatchTest, ClosedWatchQueuesNothingAndRefusesScheduling) {
  ASSERT_TRUE(watch->schedule(state));
  watch->close();
  *flags = 2u;
  watch->recheckScheduled();
  loop.runPendingTasks();
  EXPECT_EQ(calls, 0);
  EXPECT_FALSE(watch->schedule(state));
  EXPECT_EQ(watch->currentFlags(state), 2u) << "reading still works";
}

}  // namespace
}  // namespace zelvo::linux_platform
