#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>

#include "collector/record_format.h"

namespace zelvo::collector {
namespace {

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

TEST(RecordFormatTest, JsonLineHoldsTheWholeRecordOnOneLine) {
  const std::string line = jsonLine(pingRecord());
  EXPECT_EQ(line.find('\n'), std::string::npos);
  const nlohmann::json json = nlohmann::json::parse(line);
  EXPECT_EQ(json["sequence"], 3);
  EXPECT_EQ(json["status"], 503);
  EXPECT_EQ(json["query"], "p=/a&_");
  EXPECT_EQ(json["violations"][0]["key"], "f");
  EXPECT_EQ(json["ping"]["params"]["c"], "0.50");
  EXPECT_EQ(json["ping"]["engagedSeconds"], 9);
  EXPECT_EQ(json["ping"]["visitDepth"], 2);
  EXPECT_EQ(json["ping"]["full"], true);
}

TEST(RecordFormatTest, RequestsThatAreNotUtf8AreStillWritten) {
  RequestRecord record;
  record.path = "/\xff\xfe";
  record.violations = {{"", "no such endpoint: GET /\xff\xfe"}};
  const nlohmann::json json = nlohmann::json::parse(jsonLine(record));
  EXPECT_TRUE(json["ping"].is_null());
  EXPECT_EQ(json["path"], "/\xEF\xBF\xBD\xEF\xBF\xBD");  // U+FFFD twice
}

}  // namespace
}  // namespace zelvo::collector
