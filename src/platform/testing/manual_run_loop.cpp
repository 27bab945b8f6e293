#include <algorithm>
#include <chrono>
#include <cmath>
#include <future>

#include "zelvo/testing/manual_run_loop.h"
#include "platform/testing/drain_tasks.h"

namespace zelvo::testing {
namespace {
// Like the platform's timers, a non-positive interval becomes a tiny one instead of a loop
// that never lets time move.
constexpr double kMinimumInterval = 0.0001;
}  // namespace

// Lock order: the loop's mutex_ before a timer's mutex; invalidate() takes only the timer's.
struct ManualRunLoop::TimerState {
  // Set at creation, read on the main thread.
  double start = 0.0;
  double interval = 0.0;
  uint64_t order = 0;
  // Main thread only: how many times the timer has fired.
  uint64_t firings = 0;

  std::mutex mutex;
  std::condition_variable idle;
  bool valid = true;
  bool firing = false;
  std::thread::id mainThread;
  std::function<void()> callback;

  // Computed from the start rather than accumulated, so that many firings do not drift.
  double nextFireTime() const { return start + static_cast<double>(firings + 1) * interval; }
};

class ManualRunLoop::TimerHandle : public Timer {
 public:
  explicit TimerHandle(std::shared_ptr<TimerState> state) : state_(std::move(state)) {}

  void invalidate() override {
    std::function<void()> released;
    {
      std::unique_lock lock(state_->mutex);
      state_->valid = false;
      if (state_->firing) {
        // On the main thread the running callback is our caller; elsewhere, wait it out.
        // The loop releases the callback when the firing ends.
        if (std::this_thread::get_id() != state_->mainThread) {
          state_->idle.wait(lock, [this] { return !state_->firing; });
        }
        return;
      }
      released.swap(state_->callback);
    }
  }

  bool isValid() const override {
    std::lock_guard lock(state_->mutex);
    return state_->valid;
  }

 private:
  std::shared_ptr<TimerState> state_;
};

ManualRunLoop::ManualRunLoop(VirtualClock& clock) : clock_(clock), mainThread_(std::this_thread::get_id()) {}

ManualRunLoop::~ManualRunLoop() {
  // Handles may outlive the loop; what their callbacks hold is released now.
  for (const auto& timer : timers_) {
    std::function<void()> released;
    std::lock_guard lock(timer->mutex);
    timer->valid = false;
    released.swap(timer->callback);
  }
}

std::shared_ptr<Timer> ManualRunLoop::addRepeatingTimer(double intervalSeconds, std::function<void()> callback) {
  auto state = std::make_shared<TimerState>();
  state->start = clock_.now();
  state->interval = std::isfinite(intervalSeconds) ? std::max(intervalSeconds, kMinimumInterval) : kMinimumInterval;
  state->mainThread = mainThread_;
  state->callback = std::move(callback);
  std::lock_guard lock(mutex_);
  state->order = nextTimerOrder_++;
  timers_.push_back(state);
  return std::make_shared<TimerHandle>(std::move(state));
}

void ManualRunLoop::post(std::function<void()> task) {
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  posted_.notify_all();
}

void ManualRunLoop::runAndWait(std::function<void()> task) {
  if (isMainThread()) {
    task();
    return;
  }
  auto done = std::make_shared<std::promise<void>>();
  std::future<void> finished = done->get_future();
  post([task = std::move(task), done] {
    task();
    done->set_value();
  });
  // A loop destroyed with the task still queued breaks the promise, which also ends the wait.
  finished.wait();
}

bool ManualRunLoop::isMainThread() const { return std::this_thread::get_id() == mainThread_; }

void ManualRunLoop::runPendingTasks() {
  drainTasks(mutex_, tasks_);
}

void ManualRunLoop::advance(double seconds) {
  const double target = clock_.now() + (seconds > 0.0 ? seconds : 0.0);
  for (;;) {
    runPendingTasks();
    std::shared_ptr<TimerState> next;
    {
      std::lock_guard lock(mutex_);
      std::erase_if(timers_, [](const std::shared_ptr<TimerState>& t) {
        std::lock_guard timerLock(t->mutex);
        return !t->valid;
      });
      for (const auto& timer : timers_) {
        const double at = timer->nextFireTime();
        if (at > target) continue;
        if (!next || at < next->nextFireTime() || (at == next->nextFireTime() && timer->order < next->order)) {
          next = timer;
        }
      }
    }
    if (!next) break;
    clock_.set(next->nextFireTime());
    ++next->firings;
    std::function<void()> callback;
    {
      std::lock_guard lock(next->mutex);
      // Invalidated by another thread since the list was pruned.
      if (!next->valid) continue;
      next->firing = true;
      callback.swap(next->callback);
    }
    callback();
    std::unique_lock lock(next->mutex);
    if (next->valid) next->callback.swap(callback);
    if (callback) {
      // The callback invalidated its own timer: release it now that it has returned, before
      // a thread waiting in invalidate() goes on.
      lock.unlock();
      callback = nullptr;
      lock.lock();
    }
    next->firing = false;
    lock.unlock();
    next->idle.notify_all();
  }
  clock_.set(target);
  runPendingTasks();
}

bool ManualRunLoop::waitForPostedTask(double timeoutSeconds) {
  {
    std::unique_lock lock(mutex_);
    const auto timeout = std::chrono::duration<double>(std::max(timeoutSeconds, 0.0));
    if (!posted_.wait_for(lock, timeout, [this] { return !tasks_.empty(); })) return false;
  }
  runPendingTasks();
  return true;
}

std::size_t ManualRunLoop::activeTimerCount() const {
  std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(std::count_if(timers_.begin(), timers_.end(), [](const auto& t) {
    std::lock_guard timerLock(t->mutex);
    return t->valid;
  }));
}

std::optional<double> ManualRunLoop::nextFiringTime() const {
  std::lock_guard lock(mutex_);
  std::optional<double> next;
  for (const auto& timer : timers_) {
    {
      std::lock_guard timerLock(timer->mutex);
      if (!timer->valid) continue;
    }
    const double at = timer->nextFireTime();
    if (!next || at < *next) next = at;
  }
  return next;
}

}  // namespace zelvo::testing
