#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "zelvo/platform/clock.h"
#include "zelvo/platform/run_loop.h"

namespace zelvo::demo {

// A clock that runs `factor` times faster than the real one, from the real time at which it
// was made: a 15-second ping period passes in 0.75 s at factor 20.
// Thread: any.
class ScaledClock : public Clock {
 public:
  ScaledClock(const Clock& real, double factor);
  double now() const override;
  // Real time still to wait until the scaled clock shows `instant`; zero when it has passed.
  std::chrono::nanoseconds realTimeUntil(double instant) const;
  double factor() const { return factor_; }

 private:
  double start_;
  std::chrono::steady_clock::time_point realStart_;
  double factor_;
};

// The main run loop of another platform with timer intervals divided by the factor, so that
// timers keep pace with a ScaledClock of the same factor. Everything else is the inner loop's.
// Thread: as the inner loop.
class ScaledRunLoop : public RunLoop {
 public:
  ScaledRunLoop(RunLoop& inner, double factor) : inner_(inner), factor_(factor) {}
  std::shared_ptr<Timer> addRepeatingTimer(double intervalSeconds, std::function<void()> callback) override {
    return inner_.addRepeatingTimer(intervalSeconds / factor_, std::move(callback));
  }
  void post(std::function<void()> task) override { inner_.post(std::move(task)); }
  void runAndWait(std::function<void()> task) override { inner_.runAndWait(std::move(task)); }
  bool isMainThread() const override { return inner_.isMainThread(); }

 private:
  RunLoop& inner_;
  double factor_;
};

}  // namespace zelvo::demo
