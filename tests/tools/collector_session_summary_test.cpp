#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "collector/session_summary.h"

namespace zelvo::collector {
namespace {

RequestRecord ping(const std::string& token, const std::string& path, int64_t engaged, int64_t scroll, bool full,
                   int status) {
  RequestRecord record;
  record.status = status;
  record.params = {{"t", token}};
  PingSummary summary;
  summary.path = path;
  summary.dwellSeconds = engaged * 2;
  summary.engagedSeconds = engaged;
  summary.maxScroll = scroll;
  summary.full = full;
  record.ping = summary;
  return record;
}

TEST(SessionSummaryTest, GroupsPingsIntoViewsBySessionToken) {
  RequestRecord config;
  RequestRecord stray;
  stray.violations = {{"", "no such endpoint"}};
  const std::vector<RequestRecord> records = {
      ping("A", "/a", 0, 0, true, 200),    config,
      ping("A", "/a", 5, 900, false, 200), ping("B", "/b", 0, 0, true, 503),
      ping("A", "/a", 4, 600, false, 200),  // a late answer from the first view
      ping("C", "/a", 1, 10, true, 200),   stray,  // the same path seen again is another view
  };
  const SessionSummary summary = summarizeSession(records);
  EXPECT_EQ(summary.requests, 7u);
  EXPECT_EQ(summary.pings, 5u);
  EXPECT_EQ(summary.violatingRequests, 1u);
  EXPECT_EQ(summary.pingStatuses.at(200), 4u);
  EXPECT_EQ(summary.pingStatuses.at(503), 1u);
  ASSERT_EQ(summary.views.size(), 3u);
  EXPECT_EQ(summary.views[0].path, "/a");
  EXPECT_EQ(summary.views[0].pings, 3u);
  EXPECT_EQ(summary.views[0].fullPings, 1u);
  EXPECT_EQ(summary.views[0].engagedSeconds, 5);
  EXPECT_EQ(summary.views[0].dwellSeconds, 10);
  EXPECT_EQ(summary.views[0].deepestScroll, 900);
  EXPECT_EQ(summary.views[1].path, "/b");
  EXPECT_EQ(summary.views[2].path, "/a");
  EXPECT_EQ(summary.views[2].engagedSeconds, 1);

  const std::string text = summaryText(summary);
  EXPECT_EQ(text.rfind("3 views, 5 pings (answers: 4x200 1x503), 7 requests, 1 with violations", 0), 0u) << text;
  EXPECT_NE(text.find("deepest scroll    900 px"), std::string::npos) << text;
}

}  // namespace
}  // namespace zelvo::collector
