#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "zelvo/platform/run_loop.h"

namespace zelvo::linux_platform {

// Background work on a small pool of the library's own threads, in submission order
// (with more than one thread, tasks may overlap).
// Thread: execute() from any thread, also from inside a task. Destroy it from a thread that
// is not one of its workers: the destructor waits for the tasks in progress to return,
// drops the queued ones without running them, and joins the workers.
class ThreadExecutor : public Executor {
 public:
  // At least one worker.
  explicit ThreadExecutor(std::size_t threadCount = 2);
  ~ThreadExecutor() override;
  ThreadExecutor(const ThreadExecutor&) = delete;
  ThreadExecutor& operator=(const ThreadExecutor&) = delete;

  // Tasks handed in during destruction are dropped.
  void execute(std::function<void()> task) override;

 private:
  void work();

  std::mutex mutex_;
  std::condition_variable queued_;
  std::deque<std::function<void()>> tasks_;  // guarded by mutex_
  bool stopping_ = false;                    // guarded by mutex_
  std::vector<std::thread> workers_;
};

}  // namespace zelvo::linux_platform
