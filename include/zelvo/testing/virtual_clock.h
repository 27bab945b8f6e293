#pragma once

#include <atomic>

#include "zelvo/platform/clock.h"
#include "zelvo/export.h"

namespace zelvo::testing {

// A clock that moves only when told to.
class ZELVO_EXPORT VirtualClock : public Clock {
 public:
  explicit VirtualClock(double start = 0.0) : now_(start) {}
  double now() const override { return now_.load(); }
  void set(double seconds) { now_.store(seconds); }

 private:
  std::atomic<double> now_;
};

}  // namespace zelvo::testing
