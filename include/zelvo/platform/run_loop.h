#pragma once

#include <functional>
#include <memory>

#include "zelvo/export.h"

namespace zelvo {

// A repeating timer on the main run loop.
class ZELVO_EXPORT Timer {
 public:
  virtual ~Timer() = default;
  // Stops the timer for good. Thread: any. Once it returns, the callback is not running on
  // another thread and never runs again (a callback that invalidates its own timer returns
  // normally; the firing in progress is the last).
  virtual void invalidate() = 0;
  virtual bool isValid() const = 0;
};

// The host's main thread and its run loop: where the heartbeat, notifications of the
// application and every host-facing call of the library run.
class ZELVO_EXPORT RunLoop {
 public:
  virtual ~RunLoop() = default;
  // Adds a repeating timer that first fires `intervalSeconds` from now and then every
  // `intervalSeconds`, on the main thread, until invalidated. Thread: any. The run loop
  // keeps the callback until the timer is invalidated; the caller owns the returned handle.
  virtual std::shared_ptr<Timer> addRepeatingTimer(double intervalSeconds,
                                                   std::function<void()> callback) = 0;
  // Runs `task` on the main thread later, in posting order. Thread: any.
  virtual void post(std::function<void()> task) = 0;
  // Runs `task` on the main thread and returns once it has run; runs it inline when
  // called on the main thread. Thread: any.
  virtual void runAndWait(std::function<void()> task) = 0;
  // Whether the calling thread is the main thread. Thread: any.
  virtual bool isMainThread() const = 0;
};

// Runs work on a background thread, off the main thread.
class ZELVO_EXPORT Executor {
 public:
  virtual ~Executor() = default;
  // Runs `task` soon on some background thread. Thread: any.
  virtual void execute(std::function<void()> task) = 0;
};

}  // namespace zelvo
