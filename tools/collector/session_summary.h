#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "collector/request_record.h"

namespace zelvo::collector {

// One view as its pings told it: the pings of one session token, in order of arrival.
struct ViewSummary {
  std::string path;
  std::size_t pings = 0;
  std::size_t fullPings = 0;
  int64_t dwellSeconds = 0;    // the largest reported
  int64_t engagedSeconds = 0;  // the largest reported: the count runs for the whole view
  int64_t deepestScroll = 0;   // the largest "m", device pixels
};

struct SessionSummary {
  std::size_t requests = 0;
  std::size_t pings = 0;
  std::size_t violatingRequests = 0;
  std::map<int, std::size_t> pingStatuses;  // status → pings answered with it
  std::vector<ViewSummary> views;           // in order of their first ping
};

// Counts records into a summary one at a time, so that the records need not be kept.
// Thread: one at a time.
class SessionTally {
 public:
  void add(const RequestRecord& record);
  const SessionSummary& summary() const { return summary_; }

 private:
  SessionSummary summary_;
  std::map<std::string, std::size_t> viewByToken_;
};

SessionSummary summarizeSession(const std::vector<RequestRecord>& records);

// A few lines for a person: totals, then one line per view.
std::string summaryText(const SessionSummary& summary);

}  // namespace zelvo::collector
