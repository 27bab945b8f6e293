#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "zelvo/testing/testing_platform.h"

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

TEST_F(ManualRunLoopTest, FiresInTimeOrderThenCreationOrder) {
  auto a = record("a", 3);
  auto b = record("b", 2);
  auto c = record("c", 3);
  loop_.post([this] { firings_.emplace_back("task", clock_.now()); });
  loop_.advance(6);
  const std::vector<Firing> expected = {{"task", 100}, {"b", 102}, {"a", 103}, {"c", 103}, {"b", 104},
                                        {"a", 106},    {"b", 106}, {"c", 106}};
  EXPECT_EQ(firings_, expected);
  EXPECT_EQ(clock_.now(), 106);

  firings_.clear();
  loop_.advance(0.5);
  EXPECT_TRUE(firings_.empty());
  EXPECT_EQ(clock_.now(), 106.5);
}

TEST_F(ManualRunLoopTest, TasksPostedByACallbackRunBeforeTheNextFiring) {
  auto a = loop_.addRepeatingTimer(1, [this] {
    firings_.emplace_back("a", clock_.now());
    loop_.post([this] { firings_.emplace_back("posted", clock_.now()); });
  });
  auto b = record("b", 1);
  loop_.advance(1);
  const std::vector<Firing> expected = {{"a", 101}, {"posted", 101}, {"b", 101}};
  EXPECT_EQ(firings_, expected);
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

TEST_F(ManualRunLoopTest, TimerInvalidatedByAnEarlierCallbackOfTheSameAdvanceNeverFires) {
  std::shared_ptr<Timer> victim;
  auto killer = loop_.addRepeatingTimer(1, [&] {
    firings_.emplace_back("killer", clock_.now());
    victim->invalidate();
  });
  victim = record("victim", 1);  // due at the same instant, after the killer
  std::shared_ptr<Timer> once;
  once = loop_.addRepeatingTimer(0.5, [&] {
    firings_.emplace_back("once", clock_.now());
    once->invalidate();
  });
  EXPECT_EQ(loop_.activeTimerCount(), 3u);
  loop_.advance(5);
  const std::vector<Firing> expected = {{"once", 100.5}, {"killer", 101}, {"killer", 102},
                                        {"killer", 103}, {"killer", 104}, {"killer", 105}};
  EXPECT_EQ(firings_, expected);
  EXPECT_FALSE(victim->isValid());
  EXPECT_FALSE(once->isValid());
  EXPECT_TRUE(killer->isValid());
  EXPECT_EQ(loop_.activeTimerCount(), 1u);
}

TEST_F(ManualRunLoopTest, TimerMadeDuringAdvanceFiresOnlyAtItsOwnTimes) {
  std::vector<std::shared_ptr<Timer>> made;
  auto maker = loop_.addRepeatingTimer(1, [&] {
    if (made.empty()) made.push_back(record("made", 1.5));
  });
  loop_.advance(4);
  const std::vector<Firing> expected = {{"made", 102.5}, {"made", 104}};
  EXPECT_EQ(firings_, expected);
}

TEST_F(ManualRunLoopTest, InvalidationReleasesTheCallback) {
  auto held = std::make_shared<int>(0);
  auto timer = loop_.addRepeatingTimer(1, [held] { ++*held; });
  loop_.advance(2);
  EXPECT_EQ(*held, 2);
  EXPECT_EQ(held.use_count(), 2);
  timer->invalidate();
  EXPECT_EQ(held.use_count(), 1);

  // Handles that outlive their loop hold nothing either.
  auto other = std::make_shared<int>(0);
  std::shared_ptr<Timer> orphan;
  {
    VirtualClock clock;
    ManualRunLoop loop(clock);
    orphan = loop.addRepeatingTimer(1, [other] {});
  }
  EXPECT_EQ(other.use_count(), 1);
  EXPECT_FALSE(orphan->isValid());
  orphan->invalidate();
}

TEST_F(ManualRunLoopTest, RunAndWaitFromAnotherThreadRunsOnTheMainThread) {
  std::thread::id ranOn;
  loop_.runAndWait([&] { ranOn = std::this_thread::get_id(); });
  EXPECT_EQ(ranOn, std::this_thread::get_id());

  std::atomic<bool> returned{false};
  std::thread caller([&] {
    EXPECT_FALSE(loop_.isMainThread());
    loop_.runAndWait([&] {
      EXPECT_TRUE(loop_.isMainThread());
      ranOn = std::this_thread::get_id();
    });
    returned = true;
  });
  ASSERT_TRUE(loop_.waitForPostedTask(10.0));
  caller.join();
  EXPECT_TRUE(returned);
  EXPECT_EQ(ranOn, std::this_thread::get_id());
  EXPECT_FALSE(loop_.waitForPostedTask(0.0));
}

TEST_F(ManualRunLoopTest, InvalidateFromAnotherThreadStopsTheTimerForGood) {
  std::atomic<int> count{0};
  auto timer = loop_.addRepeatingTimer(1, [&] { ++count; });
  std::thread other([&] {
    while (count.load() < 3) std::this_thread::yield();
    timer->invalidate();
  });
  // Bounded: the other thread gives up the timer after three firings at the latest.
  for (int i = 0; i < 1000000 && timer->isValid(); ++i) loop_.advance(1);
  other.join();
  const int after = count.load();
  EXPECT_GE(after, 3);
  loop_.advance(10);
  EXPECT_EQ(count.load(), after);
}

}  // namespace
}  // namespace zelvo::testing
