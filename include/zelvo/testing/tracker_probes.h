#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "zelvo/zelvo_config.h"
#include "zelvo/zv_tracker.h"
#include "zelvo/export.h"

// Probes into a tracker for test drivers such as a scenario runner: what the public API does
// not tell, read without reaching into the library's private headers. They are exported from
// libzelvo itself rather than built into the testing library: they read the tracker's private
// part, whose code a shared libzelvo does not export. They only read, so a host that never
// calls them pays two symbols and nothing else.
namespace zelvo::testing {

// The retry number the tracker's current ping object recorded for a request to `url` just
// before starting it (1 for a first send); 0 when it has no record of it. Thread: main.
ZELVO_EXPORT int pingRetriesForTesting(ZVTracker& tracker, const std::string& url);
// The configuration the tracker reads (for the shared tracker, the process-wide one). The
// tracker keeps it; the caller shares it. Thread: any.
ZELVO_EXPORT std::shared_ptr<ZelvoConfig> configurationForTesting(ZVTracker& tracker);

}  // namespace zelvo::testing
