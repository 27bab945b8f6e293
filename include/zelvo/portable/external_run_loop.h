#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "zelvo/platform/run_loop.h"
#include "zelvo/export.h"

namespace zelvo::portable {

class LoopQueue;

// The library's main run loop for hosts that have a loop of their own (GLib, Qt, SDL): the
// host drives it by calling runDue() from its loop, and the library's main thread is the
// thread that does so (the thread that made the loop until the first runDue()).
//
// The host asks nextDueIn() how long it may sleep and sets a wake-up callback, which the
// library calls from any thread when new work may be due sooner. A GLib host that owns its
// context (g_main_context_acquire) on its main thread:
//
//   GMainContext* context = g_main_context_default();
//   zelvo::portable::ExternalRunLoop loop;
//   loop.setWakeUp([context] { g_main_context_wakeup(context); });
//   GPollFD fds[64];
//   while (running) {
//     loop.runDue();
//     gint priority = 0, timeoutMs = -1;
//     g_main_context_prepare(context, &priority);
//     gint n = std::min(g_main_context_query(context, priority, &timeoutMs, fds, 64), 64);
//     if (auto due = loop.nextDueIn()) {
//       gint ms = static_cast<gint>(std::ceil(*due * 1000));
//       if (timeoutMs < 0 || ms < timeoutMs) timeoutMs = ms;
//     }
//     g_poll(fds, n, timeoutMs);  // the wake-up interrupts this poll
//     g_main_context_check(context, priority, fds, n);
//     g_main_context_dispatch(context);
//   }
//
// Timers fire at start + k * interval on the steady clock; missed firings are skipped.
// runAndWait from another thread blocks until the host's next runDue() has run the task
// (so a host that stops calling runDue() must destroy the loop to release such callers);
// on the main thread it runs the task inline. After destruction has begun, runAndWait
// returns without running the task.
//
// Thread: runDue() and the destructor on the main thread; everything else from any thread.
class ZELVO_EXPORT ExternalRunLoop : public RunLoop {
 public:
  ExternalRunLoop();
  // Drops pending tasks and timers without running them and releases runAndWait callers.
  ~ExternalRunLoop() override;
  ExternalRunLoop(const ExternalRunLoop&) = delete;
  ExternalRunLoop& operator=(const ExternalRunLoop&) = delete;

  // The callback that wakes the host's loop; called on any thread, without locks of ours
  // held. Replaces an earlier one. Thread: any.
  void setWakeUp(std::function<void()> wakeUp);
  // Runs the tasks posted so far, in order, then each due timer once. Thread: main.
  void runDue();
  // Seconds until runDue() next has work: 0 when tasks are pending, the time to the next
  // timer firing otherwise (0 if it is overdue), nothing when there is no work at all.
  // Thread: any.
  std::optional<double> nextDueIn() const;

  std::shared_ptr<Timer> addRepeatingTimer(double intervalSeconds, std::function<void()> callback) override;
  void post(std::function<void()> task) override;
  void runAndWait(std::function<void()> task) override;
  bool isMainThread() const override;

 private:
  void wake();

  mutable std::mutex mutex_;
  std::shared_ptr<const std::function<void()>> wakeUp_;  // guarded by mutex_
  std::unique_ptr<LoopQueue> queue_;
};

}  // namespace zelvo::portable
