#include "platform/portable/io_wait.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace zelvo::portable {

struct IoWait::State {
  std::mutex mutex;
  std::condition_variable rung;
  bool woken = false;  // guarded by mutex
};

IoWait::IoWait() : state_(std::make_unique<State>()) {}

IoWait::~IoWait() = default;

bool IoWait::usable() const { return true; }

void IoWait::wake() {
  {
    std::lock_guard lock(state_->mutex);
    state_->woken = true;
  }
  state_->rung.notify_one();
}

void IoWait::wait(std::vector<pollfd>& /*fds*/, int timeoutMs) {
  std::unique_lock lock(state_->mutex);
  if (timeoutMs < 0) {
    state_->rung.wait(lock, [&] { return state_->woken; });
  } else {
    state_->rung.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return state_->woken; });
  }
  state_->woken = false;
}

}  // namespace zelvo::portable
