#include "heartbeat/ping_schedule.h"

#include "zelvo/constants.h"

namespace zelvo {
namespace {

// The period doubles after each ping of an inactive reader while it is below this.
constexpr uint32_t kDoublingCeiling = 240;

}  // namespace

PingSchedule::PingSchedule(RunLoop& loop, std::function<void()> onSecond)
    : loop_(loop), onSecond_(std::move(onSecond)) {}

int32_t PingSchedule::getInitialPingInterval() { return kInitialPingInterval; }

std::shared_ptr<Timer> PingSchedule::makeHeartbeat() { return loop_.addRepeatingTimer(1.0, onSecond_); }

void PingSchedule::resetTimer() {
  if (dwellTimer_) dwellTimer_->invalidate();
  dwellTimer_ = makeHeartbeat();
}

bool PingSchedule::startHeartbeat() {
  if (dwellTimer_) return false;
  dwellTimer_ = makeHeartbeat();
  return true;
}

void PingSchedule::invalidateHeartbeat() {
  // The run loop holds the heartbeat's callback until it is invalidated.
  if (dwellTimer_) dwellTimer_->invalidate();
}

void PingSchedule::forgetHeartbeat(const std::shared_ptr<Timer>& timer) {
  if (timer && dwellTimer_ == timer) dwellTimer_.reset();
}

void PingSchedule::start() {
  // A period set earlier with setInterval() is overwritten here.
  const uint32_t initial = static_cast<uint32_t>(getInitialPingInterval());
  initialInterval_ = initial;
  interval_ = initial;
}

void PingSchedule::beginView() {
  sendingPings_ = true;
  active_ = true;
  interval_ = initialInterval_;
  lastInterval_ = 0;
  dwellTime_ = 0;
}

void PingSchedule::stop() {
  dwellTime_ = 0;
  lastInterval_ = 0;
  interval_ = 0;
}

bool PingSchedule::countSecond() {
  if (!sendingPings_ || !dwellTimer_) return false;
  ++dwellTime_;
  ++lastInterval_;
  return true;
}

void PingSchedule::backOffIfInactive() {
  if (!active_ && interval_ < kDoublingCeiling) interval_ *= 2;
}

}  // namespace zelvo
