#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "collector/ping_check.h"
#include "collector/ping_summary.h"

namespace zelvo::collector {

// One request the collector received, with its verdict and its answer.
struct RequestRecord {
  uint64_t sequence = 0;   // 1 for the first request
  double receivedAt = 0;   // seconds since 1970, wall clock
  std::string method;
  std::string host;        // the Host header
  std::string path;
  std::string query;       // after "?", as sent
  std::string userAgent;
  int status = 0;          // what the collector answered
  // For requests of the ping path: what the ping says, and its parameters as sent.
  std::optional<PingSummary> ping;
  std::map<std::string, std::string> params;
  std::vector<Violation> violations;
  // Whether what is kept was cut short of what was sent (see capRecord).
  bool truncated = false;
};

}  // namespace zelvo::collector
