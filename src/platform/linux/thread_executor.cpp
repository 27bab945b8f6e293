#include "zelvo/linux/thread_executor.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace zelvo::linux_platform {

ThreadExecutor::ThreadExecutor(std::size_t threadCount) {
  const std::size_t count = std::max<std::size_t>(threadCount, 1);
  workers_.reserve(count);
  try {
    for (std::size_t i = 0; i < count; ++i) workers_.emplace_back([this] { work(); });
  } catch (const std::system_error&) {
    // Fewer threads than asked for; with none at all, work is dropped instead of queued forever.
    if (workers_.empty()) stopping_ = true;
  }
}

ThreadExecutor::~ThreadExecutor() {
  std::deque<std::function<void()>> dropped;
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
    dropped.swap(tasks_);
  }
  queued_.notify_all();
  // Dropped tasks are destroyed at once, outside the lock, while running ones finish.
  dropped.clear();
  for (auto& worker : workers_) worker.join();
}

void ThreadExecutor::execute(std::function<void()> task) {
  if (!task) return;
  {
    std::lock_guard lock(mutex_);
    if (stopping_) return;
    tasks_.push_back(std::move(task));
  }
  queued_.notify_one();
}

void ThreadExecutor::work() {
  for (;;) {
    std::function<void()> task;
    {
      std::unique_lock lock(mutex_);
      queued_.wait(lock, [this] { return stopping_ || !tasks_.empty(); });
      if (stopping_) return;
      task = std::move(tasks_.front());
      tasks_.pop_front();
    }
    task();
  }
}

}  // namespace zelvo::linux_platform
