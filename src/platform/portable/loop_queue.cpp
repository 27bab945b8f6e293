#include "platform/portable/loop_queue.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>
#include <vector>

namespace zelvo::portable {
namespace {

using Clock = LoopQueue::Clock;
using Callback = std::shared_ptr<std::function<void()>>;

// A timer period the steady clock can hold: at least a millisecond (so a zero or negative
// interval cannot spin the loop), at most about thirty years (so start + k * interval stays
// far from overflow). NaN takes the minimum.
Clock::duration timerPeriod(double seconds) {
  constexpr double kMin = 0.001;
  constexpr double kMax = 1e9;
  double clamped = seconds >= kMin ? std::min(seconds, kMax) : kMin;
  return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(clamped));
}

// Wakes a runAndWait caller when the task that carries it is destroyed: after it ran, or
// when a closed queue dropped it.
class Completion {
 public:
  void finish() {
    {
      std::lock_guard lock(mutex_);
      done_ = true;
    }
    finished_.notify_all();
  }
  void wait() {
    std::unique_lock lock(mutex_);
    finished_.wait(lock, [this] { return done_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable finished_;
  bool done_ = false;
};

struct CompletionNotifier {
  explicit CompletionNotifier(std::shared_ptr<Completion> c) : completion(std::move(c)) {}
  ~CompletionNotifier() { completion->finish(); }
  CompletionNotifier(const CompletionNotifier&) = delete;
  CompletionNotifier& operator=(const CompletionNotifier&) = delete;
  std::shared_ptr<Completion> completion;
};

}  // namespace

struct TimerState {
  Callback callback;  // null once invalidated
  Clock::time_point start;
  Clock::duration interval;
  Clock::time_point next;
  std::optional<std::thread::id> runningOn;  // set while the callback runs
};

// Lock order: State::mutex is a leaf; no callback, task or wake-up runs while it is held.
struct LoopQueue::State {
  explicit State(std::function<void()> w) : wake(std::move(w)) {}

  const std::function<void()> wake;
  std::mutex mutex;
  std::condition_variable callbackReturned;
  std::deque<std::function<void()>> tasks;
  std::vector<std::shared_ptr<TimerState>> timers;  // in creation order
  bool closed = false;
  std::atomic<std::thread::id> loopThread{std::this_thread::get_id()};
};

class LoopQueue::TimerHandle : public Timer {
 public:
  TimerHandle(std::shared_ptr<State> state, std::shared_ptr<TimerState> timer)
      : state_(std::move(state)), timer_(std::move(timer)) {}

  void invalidate() override {
    Callback dropped;
    {
      std::unique_lock lock(state_->mutex);
      dropped = std::move(timer_->callback);
      std::erase(state_->timers, timer_);
      // A firing in progress on another thread must end before we return; one on this
      // thread is the caller itself.
      state_->callbackReturned.wait(lock, [this] {
        return !timer_->runningOn || *timer_->runningOn == std::this_thread::get_id();
      });
    }
    // The callback is destroyed here, outside the lock, unless its firing still holds it.
  }

  bool isValid() const override {
    std::lock_guard lock(state_->mutex);
    return timer_->callback != nullptr;
  }

 private:
  std::shared_ptr<State> state_;
  std::shared_ptr<TimerState> timer_;
};

LoopQueue::LoopQueue(std::function<void()> wake) : state_(std::make_shared<State>(std::move(wake))) {}

LoopQueue::~LoopQueue() { close(); }

std::shared_ptr<Timer> LoopQueue::addRepeatingTimer(double intervalSeconds, std::function<void()> callback) {
  auto timer = std::make_shared<TimerState>();
  timer->interval = timerPeriod(intervalSeconds);
  timer->start = Clock::now();
  timer->next = timer->start + timer->interval;
  bool added = false;
  if (callback) {
    std::lock_guard lock(state_->mutex);
    if (!state_->closed) {
      timer->callback = std::make_shared<std::function<void()>>(std::move(callback));
      state_->timers.push_back(timer);
      added = true;
    }
  }
  if (added) state_->wake();
  return std::make_shared<TimerHandle>(state_, std::move(timer));
}

void LoopQueue::post(std::function<void()> task) {
  if (!task) return;
  bool queued = false;
  {
    std::lock_guard lock(state_->mutex);
    if (!state_->closed) {
      state_->tasks.push_back(std::move(task));
      queued = true;
    }
  }
  // A task refused by a closed queue is destroyed with `task`, outside the lock.
  if (queued) state_->wake();
}

void LoopQueue::runAndWait(std::function<void()> task) {
  if (!task) return;
  auto completion = std::make_shared<Completion>();
  auto notifier = std::make_shared<CompletionNotifier>(completion);
  post([task = std::move(task), notifier = std::move(notifier)] { task(); });
  completion->wait();
}

void LoopQueue::runDue() {
  std::deque<std::function<void()>> batch;
  {
    std::lock_guard lock(state_->mutex);
    batch.swap(state_->tasks);
  }
  while (!batch.empty()) {
    {
      // Closed meanwhile (by a shutdown on another thread): the rest is dropped on return.
      std::lock_guard lock(state_->mutex);
      if (state_->closed) return;
    }
    // Destroyed right after it runs, so a runAndWait caller is released at once.
    std::function<void()> task = std::move(batch.front());
    batch.pop_front();
    task();
  }

  const Clock::time_point now = Clock::now();
  for (;;) {
    std::shared_ptr<TimerState> timer;
    Callback callback;
    {
      std::lock_guard lock(state_->mutex);
      for (const auto& t : state_->timers) {
        if (t->next <= now && (!timer || t->next < timer->next)) timer = t;
      }
      if (!timer) break;
      // The next firing is the first point of the timer's grid after the present, so a
      // loop that was held up skips the missed firings instead of bursting them. It lies
      // after `now`, so each timer fires at most once per call.
      const auto elapsedPeriods = (Clock::now() - timer->start) / timer->interval;
      timer->next = timer->start + (elapsedPeriods + 1) * timer->interval;
      timer->runningOn = std::this_thread::get_id();
      callback = timer->callback;
    }
    (*callback)();
    {
      std::lock_guard lock(state_->mutex);
      timer->runningOn.reset();
    }
    state_->callbackReturned.notify_all();
  }
}

std::optional<LoopQueue::Clock::time_point> LoopQueue::nextDue() const {
  std::lock_guard lock(state_->mutex);
  if (!state_->tasks.empty()) return Clock::now();
  std::optional<Clock::time_point> earliest;
  for (const auto& t : state_->timers) {
    if (!earliest || t->next < *earliest) earliest = t->next;
  }
  return earliest;
}

void LoopQueue::close() {
  std::deque<std::function<void()>> tasks;
  std::vector<Callback> callbacks;
  {
    std::lock_guard lock(state_->mutex);
    state_->closed = true;
    tasks.swap(state_->tasks);
    for (const auto& t : state_->timers) callbacks.push_back(std::move(t->callback));
    state_->timers.clear();
  }
  // Tasks and callbacks are destroyed here, outside the lock.
}

void LoopQueue::setLoopThread(std::thread::id id) { state_->loopThread.store(id); }

bool LoopQueue::isLoopThread() const { return state_->loopThread.load() == std::this_thread::get_id(); }

}  // namespace zelvo::portable
