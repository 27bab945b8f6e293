#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "collector/ping_check.h"

namespace zelvo::collector {

// What a ping says about the reader, read back from its parameters. Values that are missing
// or malformed (the violations say which) read as zero or empty.
struct PingSummary {
  std::string path;  // "p", decoded
  // "c" is in minutes with two decimals; this is it in whole seconds, to the nearest.
  int64_t dwellSeconds = 0;
  int64_t engagedSeconds = 0;        // "E"
  int64_t engagedSinceLastPing = 0;  // "e"
  int64_t maxScroll = 0;             // "m", device pixels
  std::string activity;              // "reading", "writing", "idle" (from R/W/I), or "?"
  std::optional<int64_t> visitDepth;  // "sd"
  bool full = false;
};

PingSummary summarize(const CheckedPing& ping);

}  // namespace zelvo::collector
