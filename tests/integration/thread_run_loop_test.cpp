#include "zelvo/linux/thread_run_loop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "zelvo/linux/external_run_loop.h"
#include "zelvo/linux/thread_executor.h"

namespace zelvo::integration {
namespace {

using linux_platform::ExternalRunLoop;
using linux_platform::ThreadExecutor;
using linux_platform::ThreadRunLoop;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr auto kWaitLimit = std::chrono::seconds(5);
constexpr double kTick = 0.01;  // seconds

// Counts events and lets a test wait (bounded) until enough have happened.
class Counter {
 public:
  void add() {
    {
      std::lock_guard lock(mutex_);
      ++count_;
    }
    changed_.notify_all();
  }
  int count() const {
    std::lock_guard lock(mutex_);
    return count_;
  }
  bool waitFor(int atLeast) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kWaitLimit, [&] { return count_ >= atLeast; });
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  int count_ = 0;
};

// A gate a callback blocks on until the test opens it (bounded, so a failing test ends).
class Gate {
 public:
  void open() { opened_.set_value(); }
  bool wait() { return future_.wait_for(kWaitLimit) == std::future_status::ready; }

 private:
  std::promise<void> opened_;
  std::shared_future<void> future_ = opened_.get_future().share();
};

// Opens a gate when destroyed: a task that carries it opens the gate the moment a shutdown
// drops it, which tells the test that the shutdown has begun.
class OpenOnDestruction {
 public:
  explicit OpenOnDestruction(Gate& gate) : gate_(gate) {}
  ~OpenOnDestruction() { gate_.open(); }
  OpenOnDestruction(const OpenOnDestruction&) = delete;
  OpenOnDestruction& operator=(const OpenOnDestruction&) = delete;

 private:
  Gate& gate_;
};

// Waits until a fresh timer of the same period has fired three times: enough time for a
// timer that should have stopped to show that it did not.
void letThreePeriodsPass(ThreadRunLoop& loop) {
  Counter sentinel;
  auto timer = loop.addRepeatingTimer(kTick, [&] { sentinel.add(); });
  EXPECT_TRUE(sentinel.waitFor(3));
  timer->invalidate();
}

// Waits (bounded) until another thread's task is pending on `loop`.
bool taskPending(const ExternalRunLoop& loop) {
  const auto deadline = steady_clock::now() + kWaitLimit;
  while (loop.nextDueIn() != 0.0) {
    if (steady_clock::now() > deadline) return false;
    std::this_thread::yield();
  }
  return true;
}

std::thread::id loopThreadOf(ThreadRunLoop& loop) {
  std::thread::id id;
  loop.runAndWait([&] { id = std::this_thread::get_id(); });
  return id;
}

TEST(ThreadRunLoopTest, TimersRepeatOnTheLoopThread) {
  ThreadRunLoop loop;
  const std::thread::id loopThread = loopThreadOf(loop);
  EXPECT_NE(loopThread, std::this_thread::get_id());
  EXPECT_FALSE(loop.isMainThread());

  Counter fired;
  std::atomic<bool> onLoopThread{true};
  const auto start = steady_clock::now();
  auto timer = loop.addRepeatingTimer(kTick, [&] {
    if (std::this_thread::get_id() != loopThread || !loop.isMainThread()) onLoopThread = false;
    fired.add();
  });
  ASSERT_TRUE(fired.waitFor(3));
  // Three firings on a 10 ms grid cannot happen in less than 30 ms.
  EXPECT_GE(steady_clock::now() - start, milliseconds(30));
  EXPECT_TRUE(timer->isValid());
  timer->invalidate();
  EXPECT_FALSE(timer->isValid());
  EXPECT_TRUE(onLoopThread);
}

TEST(ThreadRunLoopTest, InvalidateFromAnotherThreadWaitsForTheFiringInProgress) {
  ThreadRunLoop loop;
  Counter entered;
  Gate release;
  std::atomic<bool> callbackReturned{false};
  auto timer = loop.addRepeatingTimer(kTick, [&] {
    entered.add();
    if (entered.count() == 1) {
      release.wait();
      callbackReturned = true;
    }
  });
  ASSERT_TRUE(entered.waitFor(1));

  std::atomic<bool> invalidated{false};
  std::thread invalidator([&] {
    timer->invalidate();
    invalidated = true;
    // The contract: once invalidate() returns, the callback is not running.
    EXPECT_TRUE(callbackReturned);
  });
  std::this_thread::sleep_for(milliseconds(20));  // give a wrong invalidate() time to return early
  EXPECT_FALSE(invalidated);
  release.open();
  invalidator.join();
  EXPECT_TRUE(invalidated);

  letThreePeriodsPass(loop);
  EXPECT_EQ(entered.count(), 1);
}

TEST(ThreadRunLoopTest, InvalidateOnTheLoopThreadStopsAtOnce) {
  ThreadRunLoop loop;
  Counter ownFirings;
  Counter otherFirings;
  std::shared_ptr<Timer> self;
  std::shared_ptr<Timer> other;
  // Made on the loop thread, so neither can fire before both handles are stored.
  loop.runAndWait([&] {
    self = loop.addRepeatingTimer(kTick, [&] {
      ownFirings.add();
      self->invalidate();  // returns normally; this firing is the last
    });
    other = loop.addRepeatingTimer(kTick, [&] { otherFirings.add(); });
  });
  ASSERT_TRUE(ownFirings.waitFor(1));
  ASSERT_TRUE(otherFirings.waitFor(1));
  loop.runAndWait([&] { other->invalidate(); });
  const int otherCount = otherFirings.count();

  letThreePeriodsPass(loop);
  EXPECT_EQ(ownFirings.count(), 1);
  EXPECT_EQ(otherFirings.count(), otherCount);
  EXPECT_FALSE(self->isValid());
}

TEST(ThreadRunLoopTest, PostedTasksRunInOrderOnTheLoopThread) {
  ThreadRunLoop loop;
  std::vector<int> order;  // touched only on the loop thread
  Gate release;
  loop.post([&] { release.wait(); });  // holds the loop until every task below is queued
  for (int i = 0; i < 100; ++i) {
    loop.post([&, i] {
      order.push_back(i);
      // A task posted by a task runs after everything already queued.
      if (i == 0) loop.post([&] { order.push_back(1000); });
    });
  }
  release.open();
  loop.runAndWait([] {});
  loop.runAndWait([] {});
  ASSERT_EQ(order.size(), 101u);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order[static_cast<size_t>(i)], i);
  EXPECT_EQ(order.back(), 1000);
}

TEST(ThreadRunLoopTest, RunAndWaitFromManyThreadsAndInline) {
  ThreadRunLoop loop;
  int counter = 0;  // plain int: the sanitizer proves every increment is on one thread
  std::atomic<bool> allOnLoop{true};
  std::vector<std::thread> callers;
  for (int t = 0; t < 4; ++t) {
    callers.emplace_back([&] {
      for (int i = 0; i < 50; ++i) {
        loop.runAndWait([&] {
          if (!loop.isMainThread()) allOnLoop = false;
          ++counter;
        });
      }
    });
  }
  for (auto& caller : callers) caller.join();
  EXPECT_TRUE(allOnLoop);

  bool ranInline = false;
  loop.runAndWait([&] {
    ++counter;
    loop.runAndWait([&] { ranInline = true; });
    // Inline: done before the outer task goes on.
    EXPECT_TRUE(ranInline);
  });
  EXPECT_EQ(counter, 201);
}

TEST(ThreadRunLoopTest, ShutdownWaitsForTheCallbackInProgressAndDropsTheRest) {
  std::atomic<int> ranAfterBlock{0};
  std::atomic<bool> blockingReturned{false};
  Gate release;
  const auto start = steady_clock::now();
  auto loop = std::make_unique<ThreadRunLoop>();
  Counter blocking;
  loop->post([&] {
    blocking.add();
    release.wait();
    blockingReturned = true;
  });
  ASSERT_TRUE(blocking.waitFor(1));
  for (int i = 0; i < 1000; ++i) loop->post([&] { ++ranAfterBlock; });
  auto timer = loop->addRepeatingTimer(kTick / 10, [&] { ++ranAfterBlock; });
  loop->post([&, opener = std::make_shared<OpenOnDestruction>(release)] { ++ranAfterBlock; });
  loop.reset();
  EXPECT_TRUE(blockingReturned);
  EXPECT_EQ(ranAfterBlock, 0);
  EXPECT_FALSE(timer->isValid());
  EXPECT_LT(steady_clock::now() - start, kWaitLimit);
}

TEST(ExternalRunLoopTest, HostDrivesTasksTimersAndWaiters) {
  ExternalRunLoop loop;
  EXPECT_TRUE(loop.isMainThread());
  EXPECT_FALSE(loop.nextDueIn().has_value());
  std::atomic<int> wakeUps{0};
  loop.setWakeUp([&] { ++wakeUps; });

  int ran = 0;
  loop.post([&] { ++ran; });
  EXPECT_GE(wakeUps, 1);
  EXPECT_EQ(loop.nextDueIn(), 0.0);
  EXPECT_EQ(ran, 0);  // nothing runs until the host says so
  loop.runDue();
  EXPECT_EQ(ran, 1);

  int fired = 0;
  auto timer = loop.addRepeatingTimer(10.0, [&] { ++fired; });
  ASSERT_TRUE(loop.nextDueIn().has_value());
  EXPECT_GT(*loop.nextDueIn(), 0.0);
  EXPECT_LE(*loop.nextDueIn(), 10.0);
  loop.runDue();
  EXPECT_EQ(fired, 0);

  std::atomic<bool> waited{false};
  std::thread other([&] {
    EXPECT_FALSE(loop.isMainThread());
    loop.runAndWait([&] { waited = loop.isMainThread(); });
  });
  EXPECT_TRUE(taskPending(loop));
  loop.runDue();
  other.join();
  EXPECT_TRUE(waited);
  timer->invalidate();
  EXPECT_FALSE(loop.nextDueIn().has_value());
}

TEST(ExternalRunLoopTest, MissedFiringsAreSkippedNotBurst) {
  ExternalRunLoop loop;
  int fired = 0;
  constexpr double kPeriod = 0.1;
  auto timer = loop.addRepeatingTimer(kPeriod, [&] { ++fired; });
  // The host is busy for more than three periods.
  std::this_thread::sleep_for(milliseconds(350));
  loop.runDue();
  EXPECT_EQ(fired, 1);
  // The next firing is on the grid ahead, not the missed ones.
  ASSERT_TRUE(loop.nextDueIn().has_value());
  EXPECT_GT(*loop.nextDueIn(), 0.0);
  EXPECT_LE(*loop.nextDueIn(), kPeriod);
  timer->invalidate();
}

TEST(ExternalRunLoopTest, DestructionReleasesWaitersWithoutRunningTheirTasks) {
  auto loop = std::make_unique<ExternalRunLoop>();
  std::atomic<bool> ran{false};
  std::thread other([&] { loop->runAndWait([&] { ran = true; }); });
  EXPECT_TRUE(taskPending(*loop));
  loop.reset();
  other.join();
  EXPECT_FALSE(ran);
}

TEST(ThreadExecutorTest, RunsTasksOnTwoBackgroundThreads) {
  // Both tasks wait for each other: they finish only if they run at the same time.
  std::promise<void> firstStarted;
  std::promise<void> secondStarted;
  std::shared_future<void> first = firstStarted.get_future().share();
  std::shared_future<void> second = secondStarted.get_future().share();
  Counter done;
  std::atomic<bool> offCaller{true};
  const auto caller = std::this_thread::get_id();
  ThreadExecutor executor(2);  // declared last: its workers stop before the state they use goes
  executor.execute([&] {
    firstStarted.set_value();
    if (second.wait_for(kWaitLimit) == std::future_status::ready) done.add();
    if (std::this_thread::get_id() == caller) offCaller = false;
  });
  executor.execute([&] {
    secondStarted.set_value();
    if (first.wait_for(kWaitLimit) == std::future_status::ready) done.add();
  });
  EXPECT_TRUE(done.waitFor(2));
  EXPECT_TRUE(offCaller);
}

TEST(ThreadExecutorTest, DestructionFinishesRunningTasksAndDropsQueuedOnes) {
  std::atomic<int> finished{0};
  std::atomic<int> queuedRan{0};
  auto executor = std::make_unique<ThreadExecutor>(1);
  Counter started;
  Gate release;
  executor->execute([&] {
    started.add();
    release.wait();
    ++finished;
  });
  ASSERT_TRUE(started.waitFor(1));
  for (int i = 0; i < 100; ++i) executor->execute([&] { ++queuedRan; });
  executor->execute([&, opener = std::make_shared<OpenOnDestruction>(release)] { ++queuedRan; });
  executor.reset();
  EXPECT_EQ(finished, 1);
  EXPECT_EQ(queuedRan, 0);
}

}  // namespace
}  // namespace zelvo::integration
