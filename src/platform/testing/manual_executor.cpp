#include "zelvo/testing/testing_platform.h"

namespace zelvo::testing {

void ManualExecutor::execute(std::function<void()> task) {
  {
    std::lock_guard lock(mutex_);
    if (mode_ == Mode::kQueued) {
      tasks_.push_back(std::move(task));
      return;
    }
  }
  task();
}

void ManualExecutor::setMode(Mode mode) {
  std::lock_guard lock(mutex_);
  mode_ = mode;
}

void ManualExecutor::runAll() {
  for (;;) {
    std::function<void()> task;
    {
      std::lock_guard lock(mutex_);
      if (tasks_.empty()) return;
      task = std::move(tasks_.front());
      tasks_.pop_front();
    }
    task();
  }
}

std::size_t ManualExecutor::pendingCount() const {
  std::lock_guard lock(mutex_);
  return tasks_.size();
}

}  // namespace zelvo::testing
