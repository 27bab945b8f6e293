#include "zelvo/portable/thread_executor.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace zelvo::portable {

ThreadExecutor::ThreadExecutor(std::size_t threadCount) : maxThreads_(std::max<std::size_t>(threadCount, 1)) {}

ThreadExecutor::~ThreadExecutor() {
  std::deque<std::function<void()>> dropped;
  std::vector<std::thread> workers;
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
    dropped.swap(tasks_);
    workers.swap(workers_);
  }
  // Dropped tasks are destroyed at once, outside the lock, while running ones finish.
  dropped.clear();
  for (auto& worker : workers) worker.join();
}

void ThreadExecutor::execute(std::function<void()> task) {
  if (!task) return;
  std::vector<std::thread> finished;
  {
    std::lock_guard lock(mutex_);
    if (stopping_) return;
    tasks_.push_back(std::move(task));
    // Threads that ended are joined here, the next time there is work, so none is left behind.
    for (const std::thread::id id : ended_) {
      auto it = std::find_if(workers_.begin(), workers_.end(), [id](const std::thread& t) { return t.get_id() == id; });
      if (it == workers_.end()) continue;
      finished.push_back(std::move(*it));
      workers_.erase(it);
    }
    ended_.clear();
    if (live_ - busy_ < tasks_.size() && live_ < maxThreads_) {
      try {
        workers_.emplace_back([this] { work(); });
        ++live_;
      } catch (const std::system_error&) {
        // No thread to be had: with none running the task would wait forever, so it goes.
        if (live_ == 0) tasks_.clear();
      }
    }
  }
  for (auto& worker : finished) worker.join();
}

void ThreadExecutor::work() {
  std::unique_lock lock(mutex_);
  while (!stopping_ && !tasks_.empty()) {
    std::function<void()> task = std::move(tasks_.front());
    tasks_.pop_front();
    ++busy_;
    lock.unlock();
    task();
    task = nullptr;  // its captures go before the lock is taken again
    lock.lock();
    --busy_;
  }
  --live_;
  if (!stopping_) ended_.push_back(std::this_thread::get_id());
}

}  // namespace zelvo::portable
