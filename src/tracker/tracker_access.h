#pragma once

#include "zelvo/zv_tracker.h"

namespace zelvo {

// The library's own way into a tracker's private part: the process-wide configuration and
// the testing probes go through here, and nothing outside src/ can include it.
struct TrackerAccess {
  static ZVTracker::Internal& internal(ZVTracker& tracker) { return *tracker.internal_; }
};

}  // namespace zelvo
