#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "zelvo/export.h"

namespace zelvo {

// What became of one ping: an answer, no answer, or no request at all. Every request started
// (counted in pingsAttempted) ends in exactly one outcome of the first eight kinds.
struct ZELVO_EXPORT ZVPingOutcome {
  enum class Kind {
    kDelivered,         // answered 200
    kResent,            // answered 202 or 500: sent again (at most three times in all)
    kOverCapacity,      // answered 503: no ping until the lock-out ends
    kRejected,          // answered with another status (the next ping is a full one), or
                        // 202 or 500 to the last resend
    kConnectionFailed,  // no answer: the server or proxy could not be reached
    kTlsFailed,         // no answer: the TLS handshake failed (e.g. an untrusted certificate)
    kTimedOut,          // no answer within the request's time limit
    kFailed,            // no answer for another reason, or the request was refused unsent
    kSkippedOffline,    // not sent: the network counted as unreachable
    kSkippedLockedOut,  // not sent: the service asked for a pause (503)
    kSkippedBusy,       // not sent: 64 pings were already waiting for their answers
  };
  Kind kind = Kind::kDelivered;
  // The ping's URL as the library made it (on its own hosts, even when the platform sends it
  // to an endpoint of the host's); empty for a skipped ping.
  std::string url;
  // The HTTP status, or 0 when there was no answer.
  int statusCode = 0;
  // What went wrong, in words; empty when delivered or skipped.
  std::string error;
};

// Counters of the pings of one tracker since it was made (all of its starts).
struct ZELVO_EXPORT ZVStatus {
  uint64_t pingsAttempted = 0;  // requests started, resends included
  uint64_t pingsDelivered = 0;  // kDelivered
  uint64_t pingsResent = 0;     // kResent
  uint64_t failedOverCapacity = 0;
  uint64_t failedRejected = 0;
  uint64_t failedConnection = 0;
  uint64_t failedTls = 0;
  uint64_t failedTimeout = 0;
  uint64_t failedOther = 0;
  uint64_t skippedOffline = 0;
  uint64_t skippedLockedOut = 0;
  uint64_t skippedBusy = 0;
  // While locked out: when the lock-out ends, in seconds since 2001-01-01T00:00:00Z.
  std::optional<double> lockOutEnd;
  // The latest failure in words ("" before the first).
  std::string lastError;
};

// Called once per ping outcome, on the main thread.
using ZVPingOutcomeCallback = std::function<void(const ZVPingOutcome&)>;

}  // namespace zelvo
