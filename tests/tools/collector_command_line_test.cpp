#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

#include "collector/command_line.h"
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

TEST(StatusPlanTest, RefusesWhatIsNotAStatusAndKeepsThePlan) {
  StatusPlan plan;
  ASSERT_TRUE(plan.setList("503"));
  for (const char* list : {"", "200,", ",200", "99", "600", "20x", "200;503", "-200"}) {
    EXPECT_FALSE(plan.setList(list)) << list;
  }
  for (const char* rule : {"", "1", "=503", "0=503", "1=", "1=600", "x=503", "1=503=2"}) {
    EXPECT_FALSE(plan.addRule(rule)) << rule;
  }
  EXPECT_EQ(plan.statusFor(1), 503);
  EXPECT_EQ(plan.statusFor(2), 200);
}

std::variant<CommandLine, std::string> parse(std::vector<std::string> arguments) {
  return parseCommandLine(arguments);
}

TEST(CommandLineTest, ReadsEveryOption) {
  const auto parsed = parse({"--ca-out", "ca.pem", "--port", "8443", "--config-file", "c.json", "--statuses",
                             "200,503", "--status-at", "4=500", "--json-out", "out.jsonl", "--seconds", "30",
                             "--max-requests", "12"});
  ASSERT_TRUE(std::holds_alternative<CommandLine>(parsed)) << std::get<std::string>(parsed);
  const CommandLine& line = std::get<CommandLine>(parsed);
  EXPECT_EQ(line.settings.caOut, "ca.pem");
  EXPECT_EQ(line.settings.port, 8443);
  EXPECT_EQ(line.configFile, "c.json");
  EXPECT_EQ(line.jsonOut, "out.jsonl");
  EXPECT_EQ(line.settings.lifetime, std::chrono::seconds(30));
  EXPECT_EQ(line.settings.maxRequests, 12u);
  EXPECT_EQ(line.settings.statuses.statusFor(2), 503);
  EXPECT_EQ(line.settings.statuses.statusFor(4), 500);
  EXPECT_FALSE(line.help);

  const auto defaults = parse({"--cert", "c.pem", "--key", "k.pem"});
  ASSERT_TRUE(std::holds_alternative<CommandLine>(defaults));
  EXPECT_EQ(std::get<CommandLine>(defaults).settings.lifetime, std::chrono::seconds(60));
  EXPECT_EQ(std::get<CommandLine>(defaults).settings.port, 0);
  EXPECT_EQ(std::get<CommandLine>(defaults).settings.configBody, kDefaultConfigBody);
  EXPECT_TRUE(std::get<CommandLine>(parse({"--help"})).help);
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

}  // namespace
}  // namespace zelvo::collector
