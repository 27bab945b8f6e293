#include "collector/session_summary.h"

#include <algorithm>
#include <cstdio>

namespace zelvo::collector {

void SessionTally::add(const RequestRecord& record) {
  ++summary_.requests;
  summary_.violatingRequests += !record.violations.empty();
  if (!record.ping) return;
  ++summary_.pings;
  ++summary_.pingStatuses[record.status];
  const auto token = record.params.find("t");
  const auto [entry, isNew] =
      viewByToken_.emplace(token == record.params.end() ? std::string() : token->second, summary_.views.size());
  if (isNew) summary_.views.push_back({record.ping->path});
  ViewSummary& view = summary_.views[entry->second];
  ++view.pings;
  view.fullPings += record.ping->full;
  view.dwellSeconds = std::max(view.dwellSeconds, record.ping->dwellSeconds);
  view.engagedSeconds = std::max(view.engagedSeconds, record.ping->engagedSeconds);
  view.deepestScroll = std::max(view.deepestScroll, record.ping->maxScroll);
}

SessionSummary summarizeSession(const std::vector<RequestRecord>& records) {
  SessionTally tally;
  for (const RequestRecord& record : records) tally.add(record);
  return tally.summary();
}

std::string summaryText(const SessionSummary& summary) {
  std::string text = std::to_string(summary.views.size()) + " views, " + std::to_string(summary.pings) + " pings";
  std::string answers;
  for (const auto& [status, count] : summary.pingStatuses) {
    answers += ' ';
    answers += std::to_string(count);
    answers += 'x';
    answers += std::to_string(status);
  }
  if (!answers.empty()) text += " (answers:" + answers + ")";
  text += ", " + std::to_string(summary.requests) + " requests, " + std::to_string(summary.violatingRequests) +
          " with violations";
  for (const ViewSummary& view : summary.views) {
    char line[160];
    std::snprintf(line, sizeof line, "%3zu pings (%zu full)  dwell %4llds  engaged %4llds  deepest scroll %6lld px",
                  view.pings, view.fullPings, static_cast<long long>(view.dwellSeconds),
                  static_cast<long long>(view.engagedSeconds), static_cast<long long>(view.deepestScroll));
    text += "\n  " + (view.path.empty() ? std::string("(no path)") : view.path) + "\n      " + line;
  }
  return text;
}

}  // namespace zelvo::collector
