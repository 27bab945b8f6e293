#pragma once

#include <chrono>
#include <mutex>

namespace zelvo::collector {

// A token bucket: `perSecond` requests a second on average, up to `burst` at once. The time
// is passed in, so that the bucket can be driven by any clock.
// Thread: any.
class RateLimit {
 public:
  using Clock = std::chrono::steady_clock;

  RateLimit(double perSecond, double burst);
  // Whether one more request may be served at `now`; takes its token when it may.
  bool take(Clock::time_point now);

 private:
  std::mutex mutex_;
  const double perSecond_;
  const double burst_;
  double tokens_;
  Clock::time_point last_{};
  bool started_ = false;
};

}  // namespace zelvo::collector
