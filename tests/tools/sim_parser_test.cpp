// Reading scenario files: refusals that name line and field. (The scenario
// files themselves exercise what the world line and the actions accept.)
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <utility>

#include "sim/cli.h"
#include "sim_test_support.h"

namespace zelvo::sim::test {
namespace {

struct Refusal {
  std::string lines;  // after the world line; a whole file when it starts with "//"
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
      // From here on, whole files: the world line itself is wrong, or missing.
      {"//\n" R"({"do":"advance","at":0})", 2, "do"},
      {"//\n" R"({"do":"world"})", 2, "start"},
      {"//\n" R"({"do":"world","start":"2026-03-28 10:00"})", 2, "start"},
      {"//\n" R"({"do":"world","start":"2026-03-28T10:00:00Z","tz":"Mars/Olympus"})", 2, "tz"},
      {"//\n" R"({"do":"world","start":"2026-03-28T10:00:00Z","uuids":["0011"]})", 2, "uuids[0]"},
      {"//\n" R"({"do":"world","start":"2026-03-28T10:00:00Z","screen":{"w":1,"h":2}})", 2, "screen.scale"},
      {"//\n" R"({"do":"world","start":"2026-03-28T10:00:00Z","store":{"k":{"int":"5"}}})", 2, "store.k.int"},
      {"//\n" R"({"do":"world","start":"2026-03-28T10:00:00Z","store":{"k":{"date":"yesterday"}}})", 2, "store.k.date"},
      {"//\n" R"({"do":"world","start":"2026-03-28T10:00:00Z","store":{"k":{"time":1}}})", 2, "store.k"},
      {"//\n" R"({"do":"world","start":"2026-03-28T10:00:00Z","store":{"k":{"array":[{"bool":1}]}}})", 2,
       "store.k.array[0].bool"},
      {"// nothing but comments\n", 2, "do"},
  };
  for (const Refusal& refusal : refusals) {
    std::istringstream in(refusal.lines.starts_with("//") ? refusal.lines : kWorld + refusal.lines);
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
