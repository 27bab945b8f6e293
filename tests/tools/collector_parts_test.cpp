// The collector's parts that need no server: the answer plan, the command line, the record
// formats, the session summary and the output's line writer.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include <string>
#include <variant>
#include <vector>

#include "collector/command_line.h"
#include "collector/line_writer.h"
#include "collector/record_format.h"
#include "collector/session_summary.h"
#include "collector/status_plan.h"

namespace zelvo::collector {
namespace {

TEST(StatusPlanTest, ListAndRulesNameTheAnswersToPings) {
  StatusPlan plan;
  EXPECT_EQ(plan.statusFor(1), 200);
  ASSERT_TRUE(plan.setList("503,500,202"));
  ASSERT_TRUE(plan.addRule("5=404"));
  ASSERT_TRUE(plan.addRule("2=200"));  // a rule overrides the list
  const std::vector<int> expected = {503, 200, 202, 200, 404, 200};
  for (size_t ping = 1; ping <= expected.size(); ++ping) EXPECT_EQ(plan.statusFor(ping), expected[ping - 1]) << ping;
}

std::variant<CommandLine, std::string> parse(std::vector<std::string> arguments) {
  return parseCommandLine(arguments);
}

TEST(CommandLineTest, RefusesUnusableCommandLines) {
  const std::vector<std::vector<std::string>> refused = {
      {},                                    // no certificate at all
      {"--cert", "c.pem"},                   // a certificate without its key
      {"--ca-out", "ca.pem", "--cert", "c.pem", "--key", "k.pem"},
      {"--ca-out"},                          // missing value
      {"--ca-out", "ca.pem", "--verbose", "1"},
      {"--ca-out", "ca.pem", "--port", "65536"},
      {"--ca-out", "ca.pem", "--seconds", "0"},
      {"--ca-out", "ca.pem", "--seconds", "3601"},
      {"--ca-out", "ca.pem", "--max-requests", "100001"},
      {"--ca-out", "ca.pem", "--statuses", "200,abc"},
      {"--ca-out", "ca.pem", "--status-at", "0=503"},
  };
  for (const auto& arguments : refused) {
    std::string joined;
    for (const auto& argument : arguments) joined += argument + " ";
    EXPECT_TRUE(std::holds_alternative<std::string>(parse(arguments))) << joined;
  }
}

RequestRecord pingRecord() {
  RequestRecord record;
  record.sequence = 3;
  record.method = "GET";
  record.host = "ping.zelvo-analytics.net";
  record.path = "/ping";
  record.query = "p=/a&_";
  record.status = 503;
  PingSummary ping;
  ping.path = "/news/today";
  ping.dwellSeconds = 30;
  ping.engagedSeconds = 9;
  ping.engagedSinceLastPing = 4;
  ping.maxScroll = 1200;
  ping.activity = "writing";
  ping.visitDepth = 2;
  ping.full = true;
  record.ping = ping;
  record.params = {{"p", "/news/today"}, {"c", "0.50"}};
  record.violations = {{"f", "\"0000a\" does not have today's bit (bit 0) set"}};
  return record;
}

TEST(RecordFormatTest, ReadableLineShowsThePingAndItsViolations) {
  EXPECT_EQ(readableLine(pingRecord()),
            "#3 503 /news/today dwell 30s engaged 9s (+4) scroll 1200 writing visit 2 full\n"
            "    ! f: \"0000a\" does not have today's bit (bit 0) set");
  RequestRecord config;
  config.sequence = 1;
  config.method = "GET";
  config.path = "/data/config.json";
  config.status = 200;
  EXPECT_EQ(readableLine(config), "#1 200 GET /data/config.json (not a ping)");
}

TEST(RecordFormatTest, JsonLineHoldsTheWholeRecordOnOneLineEvenWhenNotUtf8) {
  const std::string line = jsonLine(pingRecord());
  EXPECT_EQ(line.find('\n'), std::string::npos);
  const nlohmann::json json = nlohmann::json::parse(line);
  EXPECT_EQ(json["sequence"], 3);
  EXPECT_EQ(json["query"], "p=/a&_");
  EXPECT_EQ(json["violations"][0]["key"], "f");
  EXPECT_EQ(json["ping"]["params"]["c"], "0.50");
  EXPECT_EQ(json["ping"]["visitDepth"], 2);

  RequestRecord record;
  record.path = "/\xff\xfe";
  const nlohmann::json odd = nlohmann::json::parse(jsonLine(record));
  EXPECT_TRUE(odd["ping"].is_null());
  EXPECT_EQ(odd["path"], "/\xEF\xBF\xBD\xEF\xBF\xBD");  // U+FFFD twice
}

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

// A console nobody reads (its pipe full) and a full disk: writing never waits on them, a
// line past the queue's bound is refused at once, and close() gives up on the rest after its
// grace, counting every line as lost.
TEST(LineWriterTest, NeverWaitsOnItsDestinationAndCountsWhatItLoses) {
  constexpr std::size_t kLines = 2000;
  int unread[2];
  ASSERT_EQ(pipe2(unread, O_CLOEXEC | O_NONBLOCK), 0);
  while (::write(unread[1], "f", 1) == 1) {
  }
  ASSERT_EQ(fcntl(unread[1], F_SETFL, 0), 0);
  const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
  ASSERT_GE(full, 0);
  for (const int fd : {unread[1], full}) {
    LineWriter writer(fd, "the test's destination", 16 * 1024);
    std::size_t refused = 0;
    for (std::size_t i = 0; i < kLines; ++i) refused += writer.write(std::string(99, 'x')) ? 0 : 1;
    if (fd == unread[1]) {
      EXPECT_GT(refused, kLines / 2) << "the queue holds 16 KiB";
    }
    EXPECT_EQ(writer.close(), kLines) << fd;
    EXPECT_FALSE(writer.write("after the close"));
  }
  ::close(unread[0]);
  ::close(unread[1]);
  ::close(full);
}

}  // namespace
}  // namespace zelvo::collector
