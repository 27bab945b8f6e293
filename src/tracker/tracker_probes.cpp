#include "zelvo/testing/tracker_probes.h"

#include "tracker/tracker_access.h"
#include "tracker/tracker_internal.h"

namespace zelvo::testing {

int pingRetriesForTesting(ZVTracker& tracker, const std::string& url) {
  std::optional<ZVPing::RequestRecord> record = TrackerAccess::internal(tracker).ping->previousRequest(url);
  return record ? record->numRetries : 0;
}

std::shared_ptr<ZelvoConfig> configurationForTesting(ZVTracker& tracker) {
  return TrackerAccess::internal(tracker).configuration();
}

}  // namespace zelvo::testing
