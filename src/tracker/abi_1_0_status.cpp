// ZVTracker::pingStatus() as libzelvo 1.0 exported it. ZVStatus has grown since (skippedBusy),
// and a host built against 1.0 gives the call room for 1.0's smaller ZVStatus only, so today's
// pingStatus() has a symbol of its own (its abi_tag) and the 1.0 symbol, defined here, returns
// the 1.0 layout: the counters 1.0 knew, the lock-out's end and the last error.
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "zelvo/export.h"
#include "zelvo/zv_tracker.h"

namespace zelvo {

// ZVStatus as 1.0 laid it out: it must never change.
struct ZVStatus10 {
  uint64_t pingsAttempted;
  uint64_t pingsDelivered;
  uint64_t pingsResent;
  uint64_t failedOverCapacity;
  uint64_t failedRejected;
  uint64_t failedConnection;
  uint64_t failedTls;
  uint64_t failedTimeout;
  uint64_t failedOther;
  uint64_t skippedOffline;
  uint64_t skippedLockedOut;
  std::optional<double> lockOutEnd;
  std::string lastError;
};

// A const member function returning a class in memory: the result's address, then the object's.
extern "C++" ZELVO_EXPORT ZVStatus10 pingStatus10(const ZVTracker* self) asm("_ZNK5zelvo9ZVTracker10pingStatusEv");

ZVStatus10 pingStatus10(const ZVTracker* self) {
  ZVStatus now = self->pingStatus();
  return ZVStatus10{now.pingsAttempted,   now.pingsDelivered, now.pingsResent,    now.failedOverCapacity,
                    now.failedRejected,   now.failedConnection, now.failedTls,    now.failedTimeout,
                    now.failedOther,      now.skippedOffline, now.skippedLockedOut, now.lockOutEnd,
                    std::move(now.lastError)};
}

}  // namespace zelvo
