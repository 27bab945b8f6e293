#include "tracker_fixture.h"

#include "identity/site_visit.h"
#include "zelvo/constants.h"

namespace zelvo::test {
namespace {

// The component alone: the visit's rules over the store.
class SiteVisitComponentTest : public ::testing::Test {
 protected:
  // Counts a view at `at` seconds after kStart; returns the visit's depth and id.
  std::pair<int64_t, std::string> viewAt(double at, const std::optional<std::string>& referrer = std::nullopt) {
    platform.virtualClock().set(kStart + at);
    visit.trackSiteVisit(referrer);
    return {visit.getSiteVisitDepth(), visit.getSiteVisitId().value_or("")};
  }
  zelvo::testing::TestingPlatform platform{kStart};
  LogGate gate{platform.logSink()};
  SiteVisit visit{platform, gate};
};

TEST_F(SiteVisitComponentTest, ViewsWithinHalfAnHourOfTheFirstDeepenOneVisit) {
  auto first = viewAt(0);
  EXPECT_EQ(viewAt(600).first, 2);
  auto third = viewAt(1800);
  EXPECT_EQ(third.first, 3);
  EXPECT_EQ(first.second, third.second);
  auto fourth = viewAt(1800.001);
  EXPECT_EQ(fourth.first, 1) << "continuing views never move the start";
  EXPECT_NE(fourth.second, first.second);
  EXPECT_EQ(visit.getSiteVisitRefreshTime(), kStart + 1800.001);
}

TEST_F(SiteVisitComponentTest, AChangedReferrerStartsANewVisitAndNilReadsAsEmpty) {
  struct Step { std::optional<std::string> referrer; int64_t depth; bool sameVisit; };
  const Step steps[] = {{"a", 1, false}, {"b", 1, false}, {"", 1, false}, {std::nullopt, 2, true}, {"a", 1, false}, {std::nullopt, 1, false}};
  std::string id;
  for (std::size_t i = 0; i < std::size(steps); ++i) {
    auto [depth, nextId] = viewAt(60.0 * i, steps[i].referrer);
    EXPECT_EQ(depth, steps[i].depth) << i;
    EXPECT_EQ(nextId == id, steps[i].sameVisit) << i;
    EXPECT_EQ(visit.getSiteVisitReferrer(), steps[i].referrer.value_or("")) << i;
    id = nextId;
  }
}

TEST_F(SiteVisitComponentTest, StoredValuesOfTheWrongTypeStartANewVisit) {
  platform.memoryStore().set(kSiteVisitRefreshTimeKey, Value("yesterday"));
  platform.memoryStore().set(kSiteVisitReferrerKey, Value(12));
  platform.memoryStore().set(kSiteVisitDepthKey, Value("7"));
  EXPECT_EQ(viewAt(0).first, 1) << "an unreadable start time means the visit has expired";
}

// Through the tracker: what the pings carry, across a restart.
class SiteVisitTest : public TrackerTest {
 protected:
  void SetUp() override { tracker->startTrackerWithAccountID(9, std::string("app")); }
  // Tracks a new view (a fresh identifier each time) at `at` seconds after kStart.
  std::map<std::string, std::string> viewAt(double at) {
    platform->virtualClock().set(kStart + at);
    std::string path = "/";
    path += std::to_string(++views_);  // not "/" + ...: GCC 12 -O3 sees a false overlap (-Wrestrict)
    tracker->trackView(view, path, std::string("T"));
    return queryMap(lastUrl());
  }
  std::shared_ptr<View> view = std::make_shared<SimpleView>();

 private:
  int views_ = 0;
};

TEST_F(SiteVisitTest, AFreshInstallStartsAVisitWithDepthOne) {
  auto q = viewAt(0);
  EXPECT_EQ(q["sd"], "1");
  EXPECT_EQ(q["sr"], "");
  EXPECT_EQ(q["sv"].size(), 32u);
  EXPECT_EQ(platform->memoryStore().get(kSiteVisitRefreshTimeKey), Value(Date{kStart}));
  EXPECT_EQ(platform->memoryStore().get(kSiteVisitReferrerKey), Value(""));
  EXPECT_EQ(platform->memoryStore().get(kSiteVisitDepthKey), Value(1));
}

TEST_F(SiteVisitTest, APushReferrerGoesOutBareInTheVisitAndEscapedAsTheReferrer) {
  tracker->setPushReferrer(std::string("42"));
  auto q = viewAt(0);
  EXPECT_EQ(q["sr"], "push/?id=42");
  EXPECT_NE(lastUrl().find("&sr=push/?id=42&"), std::string::npos) << lastUrl();
  EXPECT_NE(lastUrl().find("&r=push/%3Fid%3D42&"), std::string::npos) << lastUrl();
}

TEST_F(SiteVisitTest, TheVisitSurvivesARestartOverTheSameStore) {
  auto first = viewAt(0);
  restart();
  tracker->startTrackerWithAccountID(9, std::string("app"));
  auto second = viewAt(100);
  EXPECT_EQ(second["sd"], "2");
  EXPECT_EQ(second["sv"], first["sv"]);
  EXPECT_EQ(second["u"], first["u"]);
}

TEST_F(SiteVisitTest, WithoutAnIdOrADepthThePingCarriesNoVisit) {
  viewAt(0);
  platform->memoryStore().remove(kSiteVisitUidKey);
  advance(15);
  EXPECT_FALSE(hasKey(lastUrl(), "sd"));
  EXPECT_FALSE(hasKey(lastUrl(), "sv"));
  platform->memoryStore().set(kSiteVisitUidKey, Value("abc"));
  platform->memoryStore().set(kSiteVisitDepthKey, Value(0));
  advance(15);
  EXPECT_FALSE(hasKey(lastUrl(), "sd"));
}

}  // namespace
}  // namespace zelvo::test
