// The testing run loop's ordering is what every virtual-time test and scenario relies on.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "zelvo/testing/manual_run_loop.h"

namespace zelvo::testing {
namespace {

using Firing = std::pair<std::string, double>;

class ManualRunLoopTest : public ::testing::Test {
 protected:
  VirtualClock clock_{100.0};
  ManualRunLoop loop_{clock_};
  std::vector<Firing> firings_;

  std::shared_ptr<Timer> record(const std::string& name, double interval) {
    return loop_.addRepeatingTimer(interval, [this, name] { firings_.emplace_back(name, clock_.now()); });
  }
};

// In time order, then in creation order; posted tasks first, and those a callback posts before
// the next firing. A timer invalidated by an earlier callback of the same instant never fires.
TEST_F(ManualRunLoopTest, FiresInTimeOrderThenCreationOrder) {
  std::shared_ptr<Timer> c;
  auto a = loop_.addRepeatingTimer(3, [&] {
    firings_.emplace_back("a", clock_.now());
    loop_.post([&] { firings_.emplace_back("posted", clock_.now()); });
    if (clock_.now() == 106) c->invalidate();
  });
  auto b = record("b", 2);
  c = record("c", 3);
  loop_.post([&] { firings_.emplace_back("task", clock_.now()); });
  EXPECT_EQ(loop_.activeTimerCount(), 3u);
  loop_.advance(6.5);
  const std::vector<Firing> expected = {{"task", 100}, {"b", 102}, {"a", 103},   {"posted", 103}, {"c", 103},
                                        {"b", 104},    {"a", 106}, {"posted", 106}, {"b", 106}};
  EXPECT_EQ(firings_, expected);
  EXPECT_EQ(clock_.now(), 106.5);
  EXPECT_FALSE(c->isValid());
  EXPECT_EQ(loop_.activeTimerCount(), 2u);
}

TEST_F(ManualRunLoopTest, FiringTimesDoNotDrift) {
  // 0.1 added up ten thousand times overshoots 1000; the firings must not.
  VirtualClock clock(0.0);
  ManualRunLoop loop(clock);
  std::vector<double> times;
  auto timer = loop.addRepeatingTimer(0.1, [&] { times.push_back(clock.now()); });
  for (int i = 0; i < 100; ++i) loop.advance(10);
  ASSERT_EQ(times.size(), 10000u);
  for (std::size_t k = 0; k < times.size(); ++k) ASSERT_EQ(times[k], static_cast<double>(k + 1) * 0.1) << k;
}

TEST_F(ManualRunLoopTest, RunAndWaitFromAnotherThreadRunsOnTheMainThread) {
  std::thread::id ranOn;
  std::thread caller([&] {
    EXPECT_FALSE(loop_.isMainThread());
    loop_.runAndWait([&] { ranOn = std::this_thread::get_id(); });
  });
  ASSERT_TRUE(loop_.waitForPostedTask(10.0));
  caller.join();
  EXPECT_EQ(ranOn, std::this_thread::get_id());
  EXPECT_FALSE(loop_.waitForPostedTask(0.0));
}

}  // namespace
}  // namespace zelvo::testing
