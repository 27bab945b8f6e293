#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>

#include "zelvo/platform/run_loop.h"
#include "zelvo/zv_status.h"

namespace zelvo {

// The counters of a tracker's pings and the host's outcome callback. One object serves all
// the ping objects of a tracker, so the counts run across its starts.
// Thread: any. The callback runs on the main run loop, which must outlive this object's use.
class PingStatus {
 public:
  explicit PingStatus(RunLoop& mainLoop) : mainLoop_(mainLoop) {}

  // Pings waiting for their answer at once, at most: each holds a request in the HTTP
  // client, so a host tracking views in a loop against a slow server would otherwise grow
  // them without bound.
  static constexpr std::size_t kMaxPingsInFlight = 64;

  // Counts an attempt and its request in flight; false (nothing counted) when kMaxPingsInFlight
  // already are.
  bool startAttempt();
  // The request of an attempt ended (its outcome is recorded apart).
  void endAttempt();
  // Counts `outcome` under its kind, keeps its error as the last one, and posts the callback.
  void record(ZVPingOutcome outcome);
  // record() of a delivery, which copies the URL only when a callback will read it: the one
  // outcome of nearly every ping stays free of allocations.
  void recordDelivered(const std::string& url);
  void setLockOutEnd(std::optional<double> end);

  ZVStatus snapshot() const;
  // Replaces the callback; an empty one stops the calls. Outcomes recorded before the call
  // reach the callback that was set when they were recorded.
  void setCallback(ZVPingOutcomeCallback callback);

 private:
  RunLoop& mainLoop_;
  // A leaf lock: never held while posting or calling out.
  mutable std::mutex mutex_;
  ZVStatus status_;
  std::size_t inFlight_ = 0;
  std::shared_ptr<const ZVPingOutcomeCallback> callback_;
};

}  // namespace zelvo
