// The Linux run loops and executor in real time, under the sanitizers: which thread runs what,
// what invalidation and destruction promise, and that every wait is bounded.
#include "zelvo/linux/thread_run_loop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "integration/bounded_wait.h"
#include "zelvo/linux/external_run_loop.h"
#include "zelvo/linux/thread_executor.h"

namespace zelvo::integration {
namespace {

using linux_platform::ExternalRunLoop;
using linux_platform::ThreadExecutor;
using linux_platform::ThreadRunLoop;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr double kTick = 0.01;  // seconds

// A gate a callback blocks on until the test opens it (bounded, so a failing test ends).
class Gate {
 public:
  void open() { opened_.set_value(); }
  bool wait() { return future_.wait_for(kWaitLimit) == std::future_status::ready; }
  // A task that carries this opens the gate the moment a shutdown drops it.
  std::shared_ptr<void> openerOnDrop() { return std::shared_ptr<void>(nullptr, [this](void*) { open(); }); }

 private:
  std::promise<void> opened_;
  std::shared_future<void> future_ = opened_.get_future().share();
};

// Waits until a fresh timer of the same period has fired three times: enough time for a
// timer that should have stopped to show that it did not.
void letThreePeriodsPass(ThreadRunLoop& loop) {
  std::atomic<int> fired{0};
  auto timer = loop.addRepeatingTimer(kTick, [&] { ++fired; });
  EXPECT_TRUE(eventually([&] { return fired >= 3; }));
  timer->invalidate();
}

TEST(ThreadRunLoopTest, TimersRepeatOnTheLoopThreadAndAnInvalidationThereStopsAtOnce) {
  ThreadRunLoop loop;
  std::thread::id loopThread;
  loop.runAndWait([&] { loopThread = std::this_thread::get_id(); });
  EXPECT_NE(loopThread, std::this_thread::get_id());
  EXPECT_FALSE(loop.isMainThread());

  std::atomic<int> own{0}, other{0};
  std::atomic<bool> onLoopThread{true};
  std::shared_ptr<Timer> self, second;
  const auto start = steady_clock::now();
  // Made on the loop thread, so neither can fire before both handles are stored.
  loop.runAndWait([&] {
    self = loop.addRepeatingTimer(kTick, [&] {
      ++own;
      self->invalidate();  // returns normally; this firing is the last
    });
    second = loop.addRepeatingTimer(kTick, [&] {
      if (std::this_thread::get_id() != loopThread || !loop.isMainThread()) onLoopThread = false;
      ++other;
    });
  });
  ASSERT_TRUE(eventually([&] { return other >= 3; }));
  // Three firings on a 10 ms grid cannot happen in less than 30 ms.
  EXPECT_GE(steady_clock::now() - start, milliseconds(30));
  EXPECT_TRUE(second->isValid());
  loop.runAndWait([&] { second->invalidate(); });
  EXPECT_FALSE(second->isValid());
  const int otherCount = other;
  letThreePeriodsPass(loop);
  EXPECT_EQ(own, 1);
  EXPECT_EQ(other, otherCount);
  EXPECT_FALSE(self->isValid());
  EXPECT_TRUE(onLoopThread);
}

TEST(ThreadRunLoopTest, InvalidateFromAnotherThreadWaitsForTheFiringInProgress) {
  ThreadRunLoop loop;
  std::atomic<int> entered{0};
  Gate release;
  std::atomic<bool> callbackReturned{false};
  auto timer = loop.addRepeatingTimer(kTick, [&] {
    if (++entered == 1) {
      release.wait();
      callbackReturned = true;
    }
  });
  ASSERT_TRUE(eventually([&] { return entered >= 1; }));

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
  letThreePeriodsPass(loop);
  EXPECT_EQ(entered, 1);
}

// Posted tasks run in order on the loop thread, a task posted by a task after everything
// already queued; runAndWait from many threads runs there too, and inline on the loop thread.
TEST(ThreadRunLoopTest, PostedTasksAndRunAndWaitFromManyThreads) {
  ThreadRunLoop loop;
  std::vector<int> order;  // touched only on the loop thread
  Gate release;
  loop.post([&] { release.wait(); });  // holds the loop until every task below is queued
  for (int i = 0; i < 100; ++i) {
    loop.post([&, i] {
      order.push_back(i);
      if (i == 0) loop.post([&] { order.push_back(1000); });
    });
  }
  release.open();
  loop.runAndWait([] {});
  loop.runAndWait([] {});
  std::vector<int> expected(100);
  for (int i = 0; i < 100; ++i) expected[static_cast<size_t>(i)] = i;
  expected.push_back(1000);
  EXPECT_EQ(order, expected);

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
  bool ranInline = false;
  loop.runAndWait([&] {
    loop.runAndWait([&] { ranInline = true; });
    EXPECT_TRUE(ranInline) << "inline: done before the outer task goes on";
  });
  EXPECT_TRUE(allOnLoop);
  EXPECT_EQ(counter, 200);
}

TEST(ThreadRunLoopTest, ShutdownWaitsForTheCallbackInProgressAndDropsTheRest) {
  std::atomic<int> ranAfterBlock{0};
  std::atomic<bool> blocking{false}, blockingReturned{false};
  Gate release;
  const auto start = steady_clock::now();
  auto loop = std::make_unique<ThreadRunLoop>();
  loop->post([&] {
    blocking = true;
    release.wait();
    blockingReturned = true;
  });
  ASSERT_TRUE(eventually([&] { return blocking.load(); }));
  for (int i = 0; i < 1000; ++i) loop->post([&] { ++ranAfterBlock; });
  auto timer = loop->addRepeatingTimer(kTick / 10, [&] { ++ranAfterBlock; });
  loop->post([&, opener = release.openerOnDrop()] { ++ranAfterBlock; });
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
  EXPECT_GT(loop.nextDueIn().value_or(0), 0.0);
  EXPECT_LE(loop.nextDueIn().value_or(99), 10.0);
  loop.runDue();
  EXPECT_EQ(fired, 0);

  std::atomic<bool> waited{false};
  std::thread other([&] {
    EXPECT_FALSE(loop.isMainThread());
    loop.runAndWait([&] { waited = loop.isMainThread(); });
  });
  EXPECT_TRUE(eventually([&] { return loop.nextDueIn() == 0.0; }));
  loop.runDue();
  other.join();
  EXPECT_TRUE(waited);
  timer->invalidate();
  EXPECT_FALSE(loop.nextDueIn().has_value());

  // Destruction releases a waiter without running its task.
  auto doomed = std::make_unique<ExternalRunLoop>();
  std::atomic<bool> ran2{false};
  std::thread waiter([&] { doomed->runAndWait([&] { ran2 = true; }); });
  EXPECT_TRUE(eventually([&] { return doomed->nextDueIn() == 0.0; }));
  doomed.reset();
  waiter.join();
  EXPECT_FALSE(ran2);
}

TEST(ThreadExecutorTest, RunsTasksOnTwoBackgroundThreadsAndDropsTheQueueOnDestruction) {
  // Both tasks wait for each other: they finish only if they run at the same time.
  std::promise<void> firstStarted, secondStarted;
  std::shared_future<void> first = firstStarted.get_future().share();
  std::shared_future<void> second = secondStarted.get_future().share();
  std::atomic<int> done{0};
  std::atomic<bool> offCaller{true};
  const auto caller = std::this_thread::get_id();
  {
    ThreadExecutor executor(2);  // declared last: its workers stop before the state they use goes
    executor.execute([&] {
      firstStarted.set_value();
      if (second.wait_for(kWaitLimit) == std::future_status::ready) ++done;
      if (std::this_thread::get_id() == caller) offCaller = false;
    });
    executor.execute([&] {
      secondStarted.set_value();
      if (first.wait_for(kWaitLimit) == std::future_status::ready) ++done;
    });
    EXPECT_TRUE(eventually([&] { return done == 2; }));
  }
  EXPECT_TRUE(offCaller);

  std::atomic<int> finished{0}, queuedRan{0};
  std::atomic<bool> started{false};
  Gate release;
  auto executor = std::make_unique<ThreadExecutor>(1);
  executor->execute([&] {
    started = true;
    release.wait();
    ++finished;
  });
  ASSERT_TRUE(eventually([&] { return started.load(); }));
  for (int i = 0; i < 100; ++i) executor->execute([&] { ++queuedRan; });
  executor->execute([&, opener = release.openerOnDrop()] { ++queuedRan; });
  executor.reset();
  EXPECT_EQ(finished, 1);
  EXPECT_EQ(queuedRan, 0);
}

}  // namespace
}  // namespace zelvo::integration
