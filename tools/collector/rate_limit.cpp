#include "collector/rate_limit.h"

#include <algorithm>

namespace zelvo::collector {

RateLimit::RateLimit(double perSecond, double burst) : perSecond_(perSecond), burst_(burst), tokens_(burst) {}

bool RateLimit::take(Clock::time_point now) {
  std::lock_guard lock(mutex_);
  if (started_ && now > last_) {
    tokens_ = std::min(burst_, tokens_ + std::chrono::duration<double>(now - last_).count() * perSecond_);
  }
  if (!started_ || now > last_) last_ = now;
  started_ = true;
  if (tokens_ < 1) return false;
  tokens_ -= 1;
  return true;
}

}  // namespace zelvo::collector
