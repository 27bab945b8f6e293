#include "zelvo/testing/manual_executor.h"
#include "platform/testing/drain_tasks.h"

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
  drainTasks(mutex_, tasks_);
}

std::size_t ManualExecutor::pendingCount() const {
  std::lock_guard lock(mutex_);
  return tasks_.size();
}

}  // namespace zelvo::testing
