#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "zelvo/platform/run_loop.h"
#include "zelvo/export.h"

namespace zelvo::portable {

// Background work on threads of the library's own, in submission order (with more than one
// thread, tasks may overlap). A thread is started when work is queued and none is free, up
// to `threadCount`, and ends as soon as the queue is empty: the library's background work
// (fetching the configuration) is rare, and an idle thread would cost the host for nothing.
// Thread: execute() from any thread, also from inside a task. Destroy it from a thread that
// is not one of its workers: the destructor waits for the tasks in progress to return,
// drops the queued ones without running them, and joins the workers.
class ZELVO_EXPORT ThreadExecutor : public Executor {
 public:
  // At least one worker at a time.
  explicit ThreadExecutor(std::size_t threadCount = 1);
  ~ThreadExecutor() override;
  ThreadExecutor(const ThreadExecutor&) = delete;
  ThreadExecutor& operator=(const ThreadExecutor&) = delete;

  // Tasks handed in during destruction are dropped, and so is a task for which no thread
  // can be started while none runs.
  void execute(std::function<void()> task) override;

 private:
  void work();

  const std::size_t maxThreads_;
  std::mutex mutex_;
  // Everything below is guarded by mutex_.
  std::deque<std::function<void()>> tasks_;
  bool stopping_ = false;
  std::size_t live_ = 0;  // workers that have not yet ended
  std::size_t busy_ = 0;  // of those, the ones running a task
  std::vector<std::thread> workers_;
  std::vector<std::thread::id> ended_;  // workers that returned and wait to be joined
};

}  // namespace zelvo::portable
