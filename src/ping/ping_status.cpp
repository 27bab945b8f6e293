#include "ping/ping_status.h"

#include <utility>

namespace zelvo {
namespace {

using Kind = ZVPingOutcome::Kind;

uint64_t& counterFor(ZVStatus& status, Kind kind) {
  switch (kind) {
    case Kind::kDelivered: return status.pingsDelivered;
    case Kind::kResent: return status.pingsResent;
    case Kind::kOverCapacity: return status.failedOverCapacity;
    case Kind::kRejected: return status.failedRejected;
    case Kind::kConnectionFailed: return status.failedConnection;
    case Kind::kTlsFailed: return status.failedTls;
    case Kind::kTimedOut: return status.failedTimeout;
    case Kind::kSkippedOffline: return status.skippedOffline;
    case Kind::kSkippedLockedOut: return status.skippedLockedOut;
    case Kind::kSkippedBusy: return status.skippedBusy;
    case Kind::kFailed: break;
  }
  return status.failedOther;
}

}  // namespace

bool PingStatus::startAttempt() {
  std::lock_guard lock(mutex_);
  if (inFlight_ >= kMaxPingsInFlight) return false;
  ++inFlight_;
  ++status_.pingsAttempted;
  return true;
}

void PingStatus::endAttempt() {
  std::lock_guard lock(mutex_);
  --inFlight_;
}

void PingStatus::record(ZVPingOutcome outcome) {
  std::shared_ptr<const ZVPingOutcomeCallback> callback;
  {
    std::lock_guard lock(mutex_);
    ++counterFor(status_, outcome.kind);
    if (!outcome.error.empty()) status_.lastError = outcome.error;
    callback = callback_;
  }
  if (!callback) return;
  mainLoop_.post([callback = std::move(callback), outcome = std::move(outcome)] { (*callback)(outcome); });
}

void PingStatus::recordDelivered(const std::string& url) {
  {
    std::lock_guard lock(mutex_);
    if (!callback_) {
      ++status_.pingsDelivered;
      return;
    }
  }
  record({Kind::kDelivered, url, 200, {}});
}

void PingStatus::setLockOutEnd(std::optional<double> end) {
  std::lock_guard lock(mutex_);
  status_.lockOutEnd = end;
}

ZVStatus PingStatus::snapshot() const {
  std::lock_guard lock(mutex_);
  return status_;
}

void PingStatus::setCallback(ZVPingOutcomeCallback callback) {
  auto shared = callback ? std::make_shared<const ZVPingOutcomeCallback>(std::move(callback)) : nullptr;
  std::lock_guard lock(mutex_);
  callback_ = std::move(shared);
}

}  // namespace zelvo
