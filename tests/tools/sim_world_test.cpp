// The world line, the configuration download, the event trace and reproducibility, seen
// through what the tool prints.
#include <fstream>

#include "sim/cli.h"
#include "sim_test_support.h"

namespace zelvo::sim::test {
namespace {

// A stored site visit of id "stored", depth 3, begun at the `date` given. The scenario starts
// at 00:20 UTC on 2026-03-28; a visit begun more than 1800 s before is over.
std::map<std::string, std::string> firstPingWithStoredVisit(const std::string& tz, const std::string& date) {
  const std::string out = run(R"({"do":"world","start":"2026-03-28T00:20:00Z","tz":")" + tz +
                              R"(","store":{"__zv__SiteVisitUidKey":{"string":"stored"},)"
                              R"("__zv__SiteVisitDepthKey":{"int":3},"__zv__SiteVisitReferrerKey":{"string":""},)"
                              R"("__zv__SiteVisitRefreshTimeKey":{"date":)" + date + R"(}}}
{"do":"start","at":0,"account":9}
{"do":"trackView","at":0,"view":"a","viewId":"/a"})");
  const auto sent = requests(out);
  return sent.empty() ? std::map<std::string, std::string>{} : query(sent[0]);
}

// A day alone is local midnight in the world's zone: 00:00 UTC is 20 minutes before the start
// (the visit goes on, depth 4), 00:00 in Berlin (23:00 UTC the day before) 80 minutes (a new
// visit, depth 1). An ISO instant and seconds since 2001 name the same 00:00 UTC.
TEST(SimWorld, StoredDatesAreInstantsSecondsOrLocalMidnights) {
  auto utcDay = firstPingWithStoredVisit("UTC", R"("2026-03-28")");
  EXPECT_EQ(utcDay["sv"], "stored");
  EXPECT_EQ(utcDay["sd"], "4");
  auto berlinDay = firstPingWithStoredVisit("Europe/Berlin", R"("2026-03-28")");
  EXPECT_EQ(berlinDay["sv"].size(), 32u) << "a new visit id";
  EXPECT_EQ(berlinDay["sd"], "1");
  EXPECT_EQ(firstPingWithStoredVisit("Europe/Berlin", R"("2026-03-28T01:00:00+01:00")")["sv"], "stored");
  EXPECT_EQ(firstPingWithStoredVisit("Europe/Berlin", "796348800")["sv"], "stored");
}

std::string userToken(const std::string& worldFields) {
  const auto sent = requests(run(R"({"do":"world","start":"2026-03-28T10:00:00Z")" + worldFields + R"(}
{"do":"start","at":0,"account":9}
{"do":"trackView","at":0,"view":"a","viewId":"/a"})"));
  return sent.empty() ? "" : query(sent[0])["u"];
}

// The seed decides the tokens; given UUIDs come first, whatever the seed.
TEST(SimWorld, TheSeedAndTheGivenUuidsMakeTheTokens) {
  EXPECT_EQ(userToken(R"(,"seed":1)"), userToken(R"(,"seed":1)"));
  EXPECT_NE(userToken(R"(,"seed":1)"), userToken(R"(,"seed":2)"));
  const std::string uuids = R"(,"uuids":["00112233445566778899aabbccddeeff"])";
  EXPECT_EQ(userToken(R"(,"seed":1)" + uuids), userToken(R"(,"seed":2)" + uuids));
  EXPECT_NE(userToken(R"(,"seed":1)" + uuids), userToken(R"(,"seed":1)"));
}

// The device facts of the world line reach the pings: the model in the user agent, the screen
// in pixels ("w", "S"), none without a main screen.
TEST(SimWorld, ModelAndScreenReachThePings) {
  const std::string views = R"(
{"do":"start","at":0,"account":9}
{"do":"trackView","at":0,"view":"a","viewId":"/a"})";
  auto iPad = requests(run(R"({"do":"world","start":"2026-03-28T10:00:00Z","model":"iPad","screen":{"w":768,"h":1024,"scale":2}})" + views));
  ASSERT_EQ(iPad.size(), 1u);
  EXPECT_NE(iPad[0]["userAgent"].get<std::string>().find("(iPad; CPU iPad OS"), std::string::npos);
  EXPECT_EQ(query(iPad[0])["w"], "2048");
  EXPECT_EQ(query(iPad[0])["S"], "1536");
  auto headless = requests(run(R"({"do":"world","start":"2026-03-28T10:00:00Z","screen":null})" + views));
  ASSERT_EQ(headless.size(), 1u);
  EXPECT_EQ(query(headless[0])["w"], "0");
}

// The view's ping grants the tracker's own window of 4 (E=4 at 15). A return to the foreground
// at 16 reads the configuration: the downloaded window, or the built-in 5 when the download
// failed or was not a JSON object. A touch at 20 grants it, counted by the ping at 30.
std::string engagedAt30(const std::string& configLine) {
  const std::string out = run(kWorld + configLine + R"(
{"do":"fetchConfig","at":0}
{"do":"start","at":0,"account":9}
{"do":"trackView","at":0,"view":"a","viewId":"/a"}
{"do":"becomeActive","at":16}
{"do":"touch","at":20}
{"do":"advance","at":30})");
  const auto sent = requests(out);
  return sent.size() == 3 ? query(sent[2])["e"] : "no ping at 30";
}

TEST(SimWorld, ConfigurationDownloadsAnswerAsTheLastConfigLineSays) {
  EXPECT_EQ(engagedAt30(R"({"do":"config","at":0,"value":{"engagement_window":10}})"), "10");
  EXPECT_EQ(engagedAt30(R"({"do":"config","at":0,"text":"{\"engagement_window\":7}"})"), "7");
  EXPECT_EQ(engagedAt30(R"({"do":"config","at":0,"text":"not json"})"), "5");
  EXPECT_EQ(engagedAt30(R"({"do":"config","at":0,"fail":true})"), "5");
  EXPECT_EQ(engagedAt30(R"({"do":"advance","at":0})"), "5") << "before any config line, downloads fail";
}

// With --events: the will-send follows its request, the 200 answer's did-send follows at the
// same instant, application notifications come in order, and log lines appear once debug mode
// is on, naming views by name rather than by address.
TEST(SimWorld, TheEventTraceInterleavesRequestsNotificationsAndLogs) {
  const std::string out = run(kWorld + R"({"do":"start","at":0,"account":9}
{"do":"trackView","at":0,"view":"a","viewId":"/a"}
{"do":"resignActive","at":2}
{"do":"set","at":3,"name":"debugMode","value":true}
{"do":"becomeActive","at":3}
{"do":"trackView","at":4,"view":"b","viewId":"/b"})",
                              true);
  std::vector<std::string> kinds;
  for (const auto& object : objects(out)) {
    if (object.contains("retry")) kinds.push_back("request");
    else if (object.contains("event")) kinds.push_back(object["event"]);
  }
  EXPECT_THAT(kinds, ::testing::ElementsAre("request", "kZVWillSendPingRequestNotification",
                                            "kZVDidSendPingRequestNotification",
                                            "UIApplicationWillResignActiveNotification",
                                            "UIApplicationDidBecomeActiveNotification", "request",
                                            "kZVWillSendPingRequestNotification",
                                            "kZVDidSendPingRequestNotification"));
  const auto all = objects(out);
  EXPECT_EQ(all[1]["url"], all[0]["url"]);
  EXPECT_EQ(all[2]["url"], all[0]["url"]);
  std::vector<std::string> logs;
  for (const auto& object : all) {
    if (object.contains("log")) logs.push_back(object["log"]);
  }
  ASSERT_FALSE(logs.empty());
  EXPECT_EQ(all[3]["event"], "UIApplicationWillResignActiveNotification") << "no log before debug mode";
  EXPECT_THAT(logs, ::testing::Contains("[ZV]:trackview new view <View: b>, cur view <View: b>"));
  EXPECT_EQ(run(kWorld + R"({"do":"resignActive","at":0})"), "") << "events only with --events";
}

// Same file, same bytes: the example session, with its trace, run twice through the program.
TEST(SimWorld, TheSameFileGivesTheSameOutput) {
  std::ostringstream first, second, err;
  ASSERT_EQ(runCommandLine({"--events", "examples/scenarios/reader.jsonl"}, first, err), kExitRan) << err.str();
  ASSERT_EQ(runCommandLine({"--events", "examples/scenarios/reader.jsonl"}, second, err), kExitRan) << err.str();
  EXPECT_GT(requests(first.str()).size(), 5u);
  EXPECT_EQ(first.str(), second.str());
}

}  // namespace
}  // namespace zelvo::sim::test
