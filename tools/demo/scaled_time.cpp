#include "demo/scaled_time.h"

namespace zelvo::demo {

ScaledClock::ScaledClock(const Clock& real, double factor)
    : start_(real.now()), realStart_(std::chrono::steady_clock::now()), factor_(factor) {}

double ScaledClock::now() const {
  const std::chrono::duration<double> real = std::chrono::steady_clock::now() - realStart_;
  return start_ + real.count() * factor_;
}

std::chrono::nanoseconds ScaledClock::realTimeUntil(double instant) const {
  const double seconds = (instant - now()) / factor_;
  if (seconds <= 0) return std::chrono::nanoseconds(0);
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(seconds));
}

}  // namespace zelvo::demo
