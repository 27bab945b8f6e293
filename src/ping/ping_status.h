#pragma once

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

  void countAttempt();
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
  std::shared_ptr<const ZVPingOutcomeCallback> callback_;
};

}  // namespace zelvo
