// Reading scenario files: exact times, and refusals that name line and field. (The scenario
// files themselves exercise what the world line and the actions accept.)
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <utility>

#include "sim/cli.h"
#include "sim/exact_time.h"
#include "sim_test_support.h"

namespace zelvo::sim::test {
namespace {

TEST(SimExactTime, DecimalsAreWholeMillisecondsAndInstantsCountFrom2001) {
  const std::pair<const char*, std::optional<int64_t>> decimals[] = {
      {"15", 15000}, {"2.5", 2500}, {"0.001", 1}, {"0.1000000", 100}, {"1e3", 1000000}, {"25E-1", 2500}, {"0", 0},
      {"0.0001", std::nullopt}, {"1.5e-3", std::nullopt}, {"-1", std::nullopt}, {"1e300", std::nullopt},
      {"10000000000", kMaxScenarioMillis}, {"10000000000.001", std::nullopt}};
  for (const auto& [text, millis] : decimals) EXPECT_EQ(millisFromDecimal(text), millis) << text;
  for (const auto& [millis, text] : {std::pair{15000, "15"}, {15500, "15.5"}, {125, "0.125"}, {10, "0.01"}}) {
    EXPECT_EQ(decimalFromMillis(millis), text);
  }
  // 2026-03-28T10:00:00Z is 796384800 s after 2001-01-01T00:00:00Z.
  const std::pair<const char*, std::optional<int64_t>> instants[] = {
      {"2026-03-28T10:00:00Z", 796384800000}, {"2026-03-28T12:30:00.25+02:30", 796384800250},
      {"2000-12-31T23:59:59.999Z", -1}, {"2026-03-28T10:00:00", std::nullopt} /* no offset */,
      {"2026-02-29T10:00:00Z", std::nullopt} /* not a leap year */, {"2026-03-28T10:00:00.0001Z", std::nullopt}};
  for (const auto& [text, millis] : instants) EXPECT_EQ(millisSince2001FromIso(text), millis) << text;
  EXPECT_EQ(daysSince2001FromDay("2001-01-02"), 1);
  EXPECT_EQ(daysSince2001FromDay("2024-02-29"), 8459);
  EXPECT_EQ(daysSince2001FromDay("2026-3-28"), std::nullopt);
}

struct Refusal {
  std::string lines;  // after the world line
  int line;
  std::string field;
};

// Each kind of malformed line, with the line and field the message must name.
TEST(SimParser, MalformedLinesAreRefusedNamingLineAndField) {
  const std::vector<Refusal> refusals = {
      {R"({"do":"start","at":0,"account":9)", 2, ""},  // bad JSON
      {R"([1,2])", 2, ""},
      {R"({"do":"jump","at":0})", 2, "do"},
      {R"({"at":0})", 2, "do"},
      {R"({"do":"start","account":9})", 2, "at"},
      {R"({"do":"start","at":"0","account":9})", 2, "at"},
      {R"({"do":"start","at":0.0005,"account":9})", 2, "at"},
      {"{\"do\":\"advance\",\"at\":5}\n{\"do\":\"advance\",\"at\":4.999}", 3, "at"},
      {R"({"do":"start","at":0})", 2, "account"},
      {R"({"do":"start","at":0,"account":"9"})", 2, "account"},
      {R"({"do":"start","at":0,"account":4294967296})", 2, "account"},
      {R"({"do":"start","at":0,"account":9,"acount":9})", 2, "acount"},
      {R"({"do":"set","at":0,"name":"colour","value":1})", 2, "name"},
      {R"({"do":"set","at":0,"name":"active"})", 2, "value"},
      {R"({"do":"set","at":0,"name":"sections","value":["a",1]})", 2, "value"},
      {R"({"do":"set","at":0,"name":"userPaid","value":true})", 2, "value"},
      {R"({"do":"trackView","at":0,"viewId":5})", 2, "viewId"},
      {R"({"do":"view","at":0,"name":"a","bounds":[1]})", 2, "bounds"},
      {R"({"do":"respond","at":0,"answers":[200,"timeout"]})", 2, "answers[1]"},
      {R"({"do":"config","at":0,"value":{},"fail":true})", 2, "value"},
      {R"({"do":"touch","at":0,"count":-1})", 2, "count"},
      {R"({"do":"world","start":"2026-03-28T10:00:00Z"})", 2, "do"},
      {R"({"do":"advance","at":1e999})", 2, ""},  // no double holds it
      {R"({"do":"config","at":0,"value":{"engagement_window":-2E+400}})", 2, ""},
  };
  for (const Refusal& refusal : refusals) {
    std::istringstream in(kWorld + refusal.lines);
    auto parsed = parseScenario(in);
    ASSERT_TRUE(std::holds_alternative<ScenarioError>(parsed)) << refusal.lines;
    const ScenarioError& error = std::get<ScenarioError>(parsed);
    EXPECT_EQ(error.line, refusal.line) << refusal.lines;
    EXPECT_EQ(error.field, refusal.field) << refusal.lines << "\n" << error.text();
    const std::string expectedStart =
        "line " + std::to_string(refusal.line) + ": " + (refusal.field.empty() ? "" : refusal.field + ": ");
    EXPECT_EQ(error.text().rfind(expectedStart, 0), 0u) << error.text();
  }

  // Deep nesting is refused before any value is converted (the conversions recurse).
  const std::string deep = std::string(100000, '[') + std::string(100000, ']');
  std::istringstream in(kWorld + R"({"do":"config","at":0,"value":)" + deep + "}");
  auto parsed = parseScenario(in);
  ASSERT_TRUE(std::holds_alternative<ScenarioError>(parsed));
  EXPECT_EQ(std::get<ScenarioError>(parsed).line, 2);
}

TEST(SimParser, BadWorldLinesAreRefusedNamingTheField) {
  const std::vector<std::pair<std::string, std::string>> refusals = {
      {R"({"do":"advance","at":0})", "do"},
      {R"({"do":"world"})", "start"},
      {R"({"do":"world","start":"2026-03-28 10:00"})", "start"},
      {R"({"do":"world","start":"2026-03-28T10:00:00Z","tz":"Mars/Olympus"})", "tz"},
      {R"({"do":"world","start":"2026-03-28T10:00:00Z","uuids":["0011"]})", "uuids[0]"},
      {R"({"do":"world","start":"2026-03-28T10:00:00Z","screen":{"w":1,"h":2}})", "screen.scale"},
      {R"({"do":"world","start":"2026-03-28T10:00:00Z","store":{"k":{"int":"5"}}})", "store.k.int"},
      {R"({"do":"world","start":"2026-03-28T10:00:00Z","store":{"k":{"date":"yesterday"}}})", "store.k.date"},
      {R"({"do":"world","start":"2026-03-28T10:00:00Z","store":{"k":{"time":1}}})", "store.k"},
      {R"({"do":"world","start":"2026-03-28T10:00:00Z","store":{"k":{"array":[{"bool":1}]}}})", "store.k.array[0].bool"},
  };
  for (const auto& [line, field] : refusals) {
    std::istringstream in("// comment\n" + line);
    auto parsed = parseScenario(in);
    ASSERT_TRUE(std::holds_alternative<ScenarioError>(parsed)) << line;
    EXPECT_EQ(std::get<ScenarioError>(parsed).line, 2) << line;
    EXPECT_EQ(std::get<ScenarioError>(parsed).field, field) << line;
  }
  std::istringstream empty("// nothing but comments\n");
  auto parsed = parseScenario(empty);
  ASSERT_TRUE(std::holds_alternative<ScenarioError>(parsed));
  EXPECT_EQ(std::get<ScenarioError>(parsed).field, "do");
}

// The program refuses a malformed file with exit code 2 before running any of it: the valid
// lines before the bad one send nothing. A number too large for a double once ended the
// program through std::terminate instead.
TEST(SimParser, TheProgramExitsWith2AndRunsNothing) {
  const std::string path = ::testing::TempDir() + "sim_parser_test_bad.jsonl";
  const std::pair<std::string, std::string> files[] = {
      {kWorld + R"({"do":"start","at":0,"account":9}
{"do":"trackView","at":0,"view":"a","viewId":"/a"}
{"do":"set","at":1,"name":"colour","value":"red"}
)",
       "line 4: name: unknown setter \"colour\""},
      {R"({"do":"world","start":"2026-03-28T10:00:00Z","seed":7e999})", "line 1: not valid JSON"},
  };
  for (const auto& [content, message] : files) {
    std::ofstream(path) << content;
    std::ostringstream out, err;
    EXPECT_EQ(runCommandLine({path}, out, err), kExitRefused);
    EXPECT_EQ(out.str(), "");
    EXPECT_NE(err.str().find(message), std::string::npos) << err.str();
  }
  std::remove(path.c_str());

  std::ostringstream usageOut, usageErr;
  EXPECT_EQ(runCommandLine({}, usageOut, usageErr), kExitRefused);
  EXPECT_EQ(runCommandLine({"--bogus", "x.jsonl"}, usageOut, usageErr), kExitRefused);
  EXPECT_EQ(runCommandLine({"/nonexistent/scenario.jsonl"}, usageOut, usageErr), kExitIoError);
}

}  // namespace
}  // namespace zelvo::sim::test
