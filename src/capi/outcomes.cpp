// The C API's ping outcomes: the callback and the status snapshot.
#include "capi/arguments.h"
#include "capi/handles.h"

using zelvo::capi::guarded;
using Kind = zelvo::ZVPingOutcome::Kind;

namespace {

zelvo_ping_outcome toC(Kind kind) {
  switch (kind) {
    case Kind::kDelivered: return ZELVO_PING_DELIVERED;
    case Kind::kResent: return ZELVO_PING_RESENT;
    case Kind::kOverCapacity: return ZELVO_PING_OVER_CAPACITY;
    case Kind::kRejected: return ZELVO_PING_REJECTED;
    case Kind::kConnectionFailed: return ZELVO_PING_CONNECTION_FAILED;
    case Kind::kTlsFailed: return ZELVO_PING_TLS_FAILED;
    case Kind::kTimedOut: return ZELVO_PING_TIMED_OUT;
    case Kind::kFailed: return ZELVO_PING_FAILED;
    case Kind::kSkippedOffline: return ZELVO_PING_SKIPPED_OFFLINE;
    case Kind::kSkippedLockedOut: return ZELVO_PING_SKIPPED_LOCKED_OUT;
    case Kind::kSkippedBusy: return ZELVO_PING_SKIPPED_BUSY;
  }
  return ZELVO_PING_FAILED;
}

}  // namespace

extern "C" {

zelvo_error zelvo_tracker_set_ping_outcome_callback(zelvo_tracker* tracker, zelvo_ping_outcome_callback callback,
                                                    void* user_data) {
  return guarded([&] {
    if (!tracker) return ZELVO_ERROR_NULL_ARGUMENT;
    zelvo::ZVPingOutcomeCallback call;
    if (callback) {
      call = [callback, user_data](const zelvo::ZVPingOutcome& outcome) {
        callback(user_data, toC(outcome.kind), outcome.statusCode, outcome.url.c_str(), outcome.error.c_str());
      };
    }
    tracker->tracker->setPingOutcomeCallback(std::move(call));
    // A getter waits until the main thread has taken the calls before it, the new callback
    // included, so the host may free what the old one used as soon as this returns.
    (void)tracker->tracker->uid();
    return ZELVO_OK;
  });
}

zelvo_error zelvo_tracker_status(zelvo_tracker* tracker, zelvo_status** out) {
  return guarded([&] {
    if (!tracker || !out) return ZELVO_ERROR_NULL_ARGUMENT;
    *out = new zelvo_status{tracker->tracker->pingStatus()};
    return ZELVO_OK;
  });
}

void zelvo_status_free(zelvo_status* status) { delete status; }

zelvo_error zelvo_status_counter(const zelvo_status* status, zelvo_counter counter, uint64_t* out) {
  if (!status || !out) return ZELVO_ERROR_NULL_ARGUMENT;
  const zelvo::ZVStatus& s = status->status;
  switch (zelvo::capi::fromC(counter)) {
    case ZELVO_PINGS_ATTEMPTED: *out = s.pingsAttempted; return ZELVO_OK;
    case ZELVO_PINGS_DELIVERED: *out = s.pingsDelivered; return ZELVO_OK;
    case ZELVO_PINGS_RESENT: *out = s.pingsResent; return ZELVO_OK;
    case ZELVO_FAILED_OVER_CAPACITY: *out = s.failedOverCapacity; return ZELVO_OK;
    case ZELVO_FAILED_REJECTED: *out = s.failedRejected; return ZELVO_OK;
    case ZELVO_FAILED_CONNECTION: *out = s.failedConnection; return ZELVO_OK;
    case ZELVO_FAILED_TLS: *out = s.failedTls; return ZELVO_OK;
    case ZELVO_FAILED_TIMEOUT: *out = s.failedTimeout; return ZELVO_OK;
    case ZELVO_FAILED_OTHER: *out = s.failedOther; return ZELVO_OK;
    case ZELVO_SKIPPED_OFFLINE: *out = s.skippedOffline; return ZELVO_OK;
    case ZELVO_SKIPPED_LOCKED_OUT: *out = s.skippedLockedOut; return ZELVO_OK;
    case ZELVO_SKIPPED_BUSY: *out = s.skippedBusy; return ZELVO_OK;
  }
  return ZELVO_ERROR_INVALID_ARGUMENT;
}

zelvo_error zelvo_status_last_error(const zelvo_status* status, const char** out) {
  if (!status || !out) return ZELVO_ERROR_NULL_ARGUMENT;
  *out = status->status.lastError.c_str();
  return ZELVO_OK;
}

zelvo_error zelvo_status_lock_out(const zelvo_status* status, int* locked_out, double* end) {
  if (!status || !locked_out || !end) return ZELVO_ERROR_NULL_ARGUMENT;
  *locked_out = status->status.lockOutEnd ? 1 : 0;
  *end = status->status.lockOutEnd.value_or(0.0);
  return ZELVO_OK;
}

}  // extern "C"
