#pragma once

#include <deque>
#include <functional>
#include <mutex>

namespace zelvo::testing {

// Runs queued tasks in order, those they queue included, on the calling thread. The lock is
// released while a task runs, since tasks queue more work.
inline void drainTasks(std::mutex& mutex, std::deque<std::function<void()>>& tasks) {
  for (;;) {
    std::function<void()> task;
    {
      std::lock_guard lock(mutex);
      if (tasks.empty()) return;
      task = std::move(tasks.front());
      tasks.pop_front();
    }
    task();
  }
}

}  // namespace zelvo::testing
