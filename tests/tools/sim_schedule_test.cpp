// Scenarios whose request times follow from the ordering rules of the scenario format and the
// tracker's schedule; each expectation is derived by hand in the comment above it.
#include "sim_test_support.h"

namespace zelvo::sim::test {
namespace {

using ::testing::ElementsAre;

const std::string kStartAndView = kWorld +
    R"({"do":"start","at":0,"account":9,"appid":"app"}
{"do":"trackView","at":0,"view":"a","viewId":"/a","title":"A"}
)";

// The view's ping goes out at 0 with the period at 15. Inactive, every later ping doubles the
// period (30, 60, 120, 240): pings at 15, 45, 105, 225, 465; the next, at 705, falls after the
// last action, and the run ends there.
TEST(SimSchedule, AnInactiveReaderIsPingedAtDoublingPeriods) {
  const std::string out = run(kStartAndView + R"({"do":"set","at":0,"name":"active","value":false}
{"do":"advance","at":700})");
  EXPECT_THAT(atTexts(out), ElementsAre("0", "15", "45", "105", "225", "465"));
  for (const auto& request : requests(out)) EXPECT_EQ(request["retry"], 1);
}

// A firing at exactly an action's time runs before the action: the heartbeat's ping of /a at
// 15 comes before the first ping of /b made by the action at 15. Without a final advance the
// run stops after the last action, so the firing at 30 never runs.
TEST(SimSchedule, AFiringAtAnActionsTimeRunsFirstAndTheRunEndsWithTheLastAction) {
  const std::string out = run(kStartAndView + R"({"do":"trackView","at":15,"view":"b","viewId":"/b","title":"B"})");
  const auto sent = requests(out);
  ASSERT_EQ(sent.size(), 3u);
  EXPECT_THAT(atTexts(out), ElementsAre("0", "15", "15"));
  EXPECT_EQ(query(sent[1])["p"], "/a");
  EXPECT_EQ(query(sent[2])["p"], "/b");
}

// The heartbeat is made by the start at 0.1, so it fires at 1.1, 2.1, ...; the fifteenth
// firing, at 15.1, sends. Read as doubles, 0.1 + 15 would not print as 15.1.
TEST(SimSchedule, TimesAreExactDecimalsAndTimersKeepTheirPhase) {
  const std::string out = run(kWorld + R"({"do":"start","at":0.1,"account":9}
{"do":"trackView","at":0.1,"view":"a","viewId":"/a"}
{"do":"advance","at":30.099})");
  EXPECT_THAT(atTexts(out), ElementsAre("0.1", "15.1"));
}

// Each 500 answer resends the same request at once, up to the fourth send; the fifth request,
// the heartbeat's at 15, takes an empty queue and so a 200. A transport error is not resent.
TEST(SimSchedule, ServerErrorsAreResentAtTheSameInstantUpToTheFourthSend) {
  const std::string out = run(kWorld + R"({"do":"respond","at":0,"answers":[500,500,500,500]}
{"do":"start","at":0,"account":9}
{"do":"trackView","at":0,"view":"a","viewId":"/a"}
{"do":"respond","at":20,"answers":[500,"error"]}
{"do":"advance","at":30})");
  const auto sent = requests(out);
  ASSERT_EQ(sent.size(), 7u);
  EXPECT_THAT(atTexts(out), ElementsAre("0", "0", "0", "0", "15", "30", "30"));
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(sent[i]["retry"], i + 1);
    EXPECT_EQ(sent[i]["url"], sent[0]["url"]);
  }
  EXPECT_EQ(sent[4]["retry"], 1);
  EXPECT_EQ(sent[5]["retry"], 1);
  EXPECT_EQ(sent[6]["retry"], 2) << "the 500 resends once; the error that answers the resend ends it";
  EXPECT_EQ(sent[0]["userAgent"],
            "Mozilla/5.0 (iPhone; CPU iPhone OS 10_1_1 like Mac OS X) AppleWebKit/602.2.14 (KHTML, like Gecko) "
            "Version/10.0 Mobile/14B100 Safari/602.1/zvua/App");
}

// The 503 answers the ping at 15, so T = 15 and the lock-out ends at 615: the heartbeat's
// pings at 30 ... 600 are dropped. The end instant itself is no longer locked out, so the
// ping at 615 goes out.
TEST(SimSchedule, A503LocksPingsOutForTenMinutes) {
  const std::string out = run(kStartAndView + R"({"do":"respond","at":10,"answers":[503]}
{"do":"advance","at":640})");
  EXPECT_THAT(atTexts(out), ElementsAre("0", "15", "615", "630"));
}

// Firings at 1 ... 10 run before the resign at 10, so 10 seconds are counted. The resume at
// 100 makes a new heartbeat firing at 101, 102, ...; the count reaches 15 at 105, and that
// ping is full again (it carries the title "i"). The resume starts the tracker with the short
// form, so the application identifier becomes the bundle's. The session goes on: same token.
TEST(SimSchedule, AfterAPauseTheNextPingIsFullAndComesWhenTheCountReachesTheInterval) {
  const std::string out = run(kStartAndView + R"({"do":"resignActive","at":10}
{"do":"becomeActive","at":100}
{"do":"advance","at":125})");
  const auto sent = requests(out);
  EXPECT_THAT(atTexts(out), ElementsAre("0", "105", "120"));
  ASSERT_EQ(sent.size(), 3u);
  EXPECT_EQ(query(sent[1])["i"], "A");
  EXPECT_EQ(query(sent[1])["h"], "com.example.news");
  EXPECT_EQ(query(sent[1])["t"], query(sent[0])["t"]);
  EXPECT_EQ(query(sent[2]).count("i"), 0u) << "not full";
}

// A view whose referrer differs from the one the site visit began with starts a new visit
// (new id, depth 1); the same referrer continues it (same id, depth 2).
TEST(SimSchedule, AReferrerChangeStartsANewSiteVisit) {
  const std::string out = run(kWorld + R"({"do":"set","at":0,"name":"appReferrer","value":"a"}
{"do":"start","at":0,"account":9}
{"do":"trackView","at":0,"view":"a","viewId":"/a"}
{"do":"set","at":5,"name":"appReferrer","value":"b"}
{"do":"trackView","at":5,"view":"b","viewId":"/b"}
{"do":"trackView","at":6,"view":"c","viewId":"/c"})");
  const auto sent = requests(out);
  ASSERT_EQ(sent.size(), 3u);
  auto first = query(sent[0]), second = query(sent[1]), third = query(sent[2]);
  EXPECT_EQ(first["sr"], "a");
  EXPECT_EQ(second["sr"], "b");
  EXPECT_NE(second["sv"], first["sv"]);
  EXPECT_EQ(second["sd"], "1");
  EXPECT_EQ(third["sv"], second["sv"]);
  EXPECT_EQ(third["sd"], "2");
}

// Unreachable at the tick of 15 (flags 0): nothing goes out. Reachable again before 30: the
// ping at 30 carries the 30 seconds of dwell ("c" in minutes).
TEST(SimSchedule, NoPingLeavesWhileTheFlagsSayUnreachable) {
  const std::string out = run(kStartAndView + R"({"do":"flags","at":5,"value":0}
{"do":"flags","at":20,"value":2}
{"do":"advance","at":30})");
  const auto sent = requests(out);
  EXPECT_THAT(atTexts(out), ElementsAre("0", "30"));
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(query(sent[1])["c"], "0.50");
}

// Unreadable flags count as unreachable, from the world line on.
TEST(SimSchedule, UnreadableFlagsSendNothing) {
  const std::string out = run(
      R"({"do":"world","start":"2026-03-28T10:00:00Z","flags":null}
{"do":"start","at":0,"account":9}
{"do":"trackView","at":0,"view":"a","viewId":"/a"}
{"do":"advance","at":60})");
  EXPECT_EQ(out, "");
}

}  // namespace
}  // namespace zelvo::sim::test
