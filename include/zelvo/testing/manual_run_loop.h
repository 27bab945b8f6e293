#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "zelvo/platform/run_loop.h"
#include "zelvo/testing/virtual_clock.h"
#include "zelvo/export.h"

namespace zelvo::testing {

// The main run loop in virtual time. The thread that made it is the main thread. Time moves
// only in advance(), which fires due timers in time order (by firing time, then by the order
// the timers were made) and runs posted tasks, on the calling thread.
class ZELVO_EXPORT ManualRunLoop : public RunLoop {
 public:
  explicit ManualRunLoop(VirtualClock& clock);
  ~ManualRunLoop() override;

  std::shared_ptr<Timer> addRepeatingTimer(double intervalSeconds, std::function<void()> callback) override;
  void post(std::function<void()> task) override;
  // From another thread: queues the task and blocks until the main thread runs it in
  // runPendingTasks() or advance().
  void runAndWait(std::function<void()> task) override;
  bool isMainThread() const override;

  // Moves time forward to now + seconds: every firing at a time <= the target runs, in order,
  // with the clock set to the firing's time; posted tasks run before each firing and at the
  // end. A negative amount counts as zero. Main thread only.
  void advance(double seconds);
  // Runs the tasks posted so far (and those they post). Main thread only.
  void runPendingTasks();
  // Waits (in real time, at most `timeoutSeconds`) until another thread has posted a task,
  // then runs pending tasks. For tests that drive a call from a second thread. Main thread only.
  bool waitForPostedTask(double timeoutSeconds);
  std::size_t activeTimerCount() const;
  // When the next firing is due (seconds since 2001), or nothing when no timer is valid; lets
  // a driver step the loop one firing at a time. Main thread only.
  std::optional<double> nextFiringTime() const;

 private:
  struct TimerState;
  class TimerHandle;
  VirtualClock& clock_;
  std::thread::id mainThread_;
  mutable std::mutex mutex_;
  std::condition_variable posted_;
  std::vector<std::shared_ptr<TimerState>> timers_;
  std::deque<std::function<void()>> tasks_;
  uint64_t nextTimerOrder_ = 0;
};

}  // namespace zelvo::testing
