#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

#include "zelvo/platform/run_loop.h"

namespace zelvo::portable {

// The work of one main run loop: posted tasks and repeating timers on the steady clock.
// It owns no thread; whoever drives it (our own loop thread, or a host's GLib/Qt/SDL loop)
// calls runDue() on the loop thread whenever work is due, and `wake` tells that driver,
// from any thread, that new work may have become due earlier than it planned.
// Thread: everything is safe from any thread except runDue() (the loop thread only).
class LoopQueue {
 public:
  using Clock = std::chrono::steady_clock;

  explicit LoopQueue(std::function<void()> wake);
  // Closes the queue (see close()).
  ~LoopQueue();
  LoopQueue(const LoopQueue&) = delete;
  LoopQueue& operator=(const LoopQueue&) = delete;

  // Timers fire at start + k * interval; firings missed while the loop was busy are skipped,
  // not caught up in a burst.
  std::shared_ptr<Timer> addRepeatingTimer(double intervalSeconds, std::function<void()> callback);
  void post(std::function<void()> task);
  // Blocks until `task` has run on the loop thread; returns without running it when the
  // queue is closed first. Must not be called on the loop thread (the caller runs it inline).
  void runAndWait(std::function<void()> task);

  // Runs the tasks posted before the call, in order, then every timer that is due, each
  // once. Loop thread only.
  void runDue();
  // When runDue() next has something to do: now when tasks are pending, the earliest timer
  // otherwise, nothing when the queue is empty.
  std::optional<Clock::time_point> nextDue() const;

  // Drops pending tasks (unblocking their runAndWait callers) and every timer; tasks posted
  // later are dropped at once. A callback in progress finishes normally.
  void close();

  // The thread whose calls count as the main thread.
  void setLoopThread(std::thread::id id);
  bool isLoopThread() const;

 private:
  struct State;
  class TimerHandle;
  std::shared_ptr<State> state_;
};

}  // namespace zelvo::portable
