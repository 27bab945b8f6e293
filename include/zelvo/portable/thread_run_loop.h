#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "zelvo/platform/run_loop.h"
#include "zelvo/export.h"

namespace zelvo::portable {

class LoopQueue;

// A main run loop on a thread of the library's own, for hosts that have no loop of their
// own (daemons, command-line programs, tests). That thread is the library's main thread:
// timers, posted tasks and runAndWait tasks all run there.
//
// Timers run on the steady clock and fire at start + k * interval; firings missed while the
// thread was busy are skipped rather than run in a burst.
//
// runAndWait from another thread blocks until the loop thread has run the task; on the loop
// thread it runs the task inline. Once the loop is shutting down, runAndWait returns without
// running the task, so a caller can never be left waiting on a loop that is gone.
//
// Thread: every member is safe from any thread. Destroy it from another thread than its
// own (never from one of its callbacks), after the library objects that use it: the
// destructor waits for the callback in progress to return, drops pending tasks and timers
// without running them and joins the thread.
class ZELVO_EXPORT ThreadRunLoop : public RunLoop {
 public:
  ThreadRunLoop();
  ~ThreadRunLoop() override;
  ThreadRunLoop(const ThreadRunLoop&) = delete;
  ThreadRunLoop& operator=(const ThreadRunLoop&) = delete;

  std::shared_ptr<Timer> addRepeatingTimer(double intervalSeconds, std::function<void()> callback) override;
  void post(std::function<void()> task) override;
  void runAndWait(std::function<void()> task) override;
  bool isMainThread() const override;

 private:
  void wake();
  void run();

  std::mutex mutex_;
  std::condition_variable wakeUp_;
  bool woken_ = false;     // guarded by mutex_
  bool stopping_ = false;  // guarded by mutex_
  std::unique_ptr<LoopQueue> queue_;
  std::thread thread_;
};

}  // namespace zelvo::portable
