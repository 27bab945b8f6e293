#include "platform/portable/io_thread.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>

namespace zelvo::portable {

// Shared with the thread, which may outlive the IoThread object when the last owner lets go
// of it on the I/O thread itself.
struct IoThread::State {
  void run();

  IoWait waiter;
  std::thread thread;
  std::atomic<std::thread::id> threadId{};

  std::mutex mutex;
  std::deque<std::function<void()>> tasks;  // guarded by mutex
  bool stopping = false;                    // guarded by mutex

  // I/O thread only.
  std::vector<Source*> sources;
};

IoThread::IoThread() : IoThread(true) {}

std::shared_ptr<IoThread> IoThread::makeStopped() { return std::shared_ptr<IoThread>(new IoThread(false)); }

IoThread::IoThread(bool start) : state_(std::make_shared<State>()) {
  if (!start || !state_->waiter.usable()) {
    state_->stopping = true;
    return;
  }
  try {
    state_->thread = std::thread([state = state_] { state->run(); });
    state_->threadId.store(state_->thread.get_id());
  } catch (const std::system_error&) {
    state_->stopping = true;
  }
}

IoThread::~IoThread() {
  {
    std::lock_guard lock(state_->mutex);
    state_->stopping = true;
  }
  if (!state_->thread.joinable()) return;
  wake();
  if (isIoThread()) {
    // The last owner let go from a task or source of this very thread: it ends once that
    // returns, and takes the state with it.
    state_->thread.detach();
    return;
  }
  state_->thread.join();
  // Dropped only now: a task's captures may own a source that the thread was still driving.
  state_->tasks.clear();
}

bool IoThread::started() const { return state_->thread.joinable(); }

bool IoThread::isIoThread() const { return state_->threadId.load() == std::this_thread::get_id(); }

bool IoThread::post(std::function<void()> task) {
  {
    std::lock_guard lock(state_->mutex);
    if (state_->stopping) return false;
    const bool wasEmpty = state_->tasks.empty();
    state_->tasks.push_back(std::move(task));
    if (!wasEmpty) return true;  // the thread is already woken for the earlier task
  }
  state_->waiter.wake();
  return true;
}

void IoThread::wake() { state_->waiter.wake(); }

bool IoThread::runAndWait(std::function<void()> task, std::chrono::milliseconds limit) {
  if (isIoThread()) {
    task();
    return true;
  }
  struct Done {
    std::mutex mutex;
    std::condition_variable changed;
    bool ran = false;
  };
  auto done = std::make_shared<Done>();
  const bool queued = post([task = std::move(task), done]() mutable {
    task();
    // Let go of what the task holds before the caller goes on: the caller may be about to drop
    // its own share of the same objects (a client's worker, this very thread), and the last
    // share must not end here, on a thread that would then outlive its owner unjoined.
    task = nullptr;
    {
      std::lock_guard lock(done->mutex);
      done->ran = true;
    }
    done->changed.notify_all();
  });
  if (!queued) return false;
  std::unique_lock lock(done->mutex);
  return done->changed.wait_for(lock, limit, [&] { return done->ran; });
}

void IoThread::addSource(Source* source) {
  if (std::find(state_->sources.begin(), state_->sources.end(), source) == state_->sources.end()) {
    state_->sources.push_back(source);
  }
}

void IoThread::removeSource(Source* source) { std::erase(state_->sources, source); }

void IoThread::State::run() {
  std::vector<pollfd> fds;
  std::vector<std::pair<Source*, std::size_t>> prepared;  // each source and its first descriptor
  for (;;) {
    std::deque<std::function<void()>> due;
    {
      std::lock_guard lock(mutex);
      if (stopping) return;
      due.swap(tasks);
    }
    for (auto& task : due) {
      // A task that throws must not end the thread every other source depends on.
      try {
        task();
      } catch (...) {
      }
    }
    due.clear();

    fds.clear();
    prepared.clear();
    std::optional<Clock::time_point> deadline;
    for (Source* source : sources) {
      prepared.emplace_back(source, fds.size());
      source->prepare(fds, deadline);
    }
    int timeout = -1;
    if (deadline) {
      const auto wait = *deadline - Clock::now();
      // Rounded up, so that the loop never wakes just before a deadline and spins to it.
      const auto millis = std::chrono::ceil<std::chrono::milliseconds>(wait).count();
      timeout = static_cast<int>(std::clamp<long long>(millis, 0, 60'000));
    }
    waiter.wait(fds, timeout);
    const Clock::time_point now = Clock::now();
    for (std::size_t i = 0; i < prepared.size(); ++i) {
      auto [source, first] = prepared[i];
      // A source removed by an earlier one's dispatch is not called again.
      if (std::find(sources.begin(), sources.end(), source) == sources.end()) continue;
      const std::size_t end = i + 1 < prepared.size() ? prepared[i + 1].second : fds.size();
      source->dispatch(fds.data() + first, end - first, now);
    }
  }
}

}  // namespace zelvo::portable
