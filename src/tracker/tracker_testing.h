#pragma once

#include "tracker/tracker_access.h"
#include "tracker/tracker_internal.h"

namespace zelvo {

// For the library's tests that must look inside a tracker: its private part and, through it,
// each component's state. Thread: main.
inline ZVTracker::Internal& internalsForTesting(ZVTracker& tracker) { return TrackerAccess::internal(tracker); }

}  // namespace zelvo
