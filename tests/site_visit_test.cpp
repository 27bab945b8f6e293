#include "tracker_fixture.h"

#include "zelvo/constants.h"

namespace zelvo::test {
namespace {

class SiteVisitTest : public TrackerTest {
 protected:
  void SetUp() override { tracker->startTrackerWithAccountID(9, std::string("app")); }
  // Tracks a new view (a fresh identifier each time) at `at` seconds after kStart.
  std::map<std::string, std::string> viewAt(double at) {
    platform->virtualClock().set(kStart + at);
    tracker->trackView(view, "/" + std::to_string(++views_), std::string("T"));
    return queryMap(lastUrl());
  }
  int64_t depth() { return in().getSiteVisitDepth(); }
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

TEST_F(SiteVisitTest, ViewsWithinHalfAnHourDeepenOneVisit) {
  auto first = viewAt(0);
  auto second = viewAt(600);
  auto third = viewAt(1800);
  EXPECT_EQ(second["sd"], "2");
  EXPECT_EQ(third["sd"], "3");
  EXPECT_EQ(first["sv"], third["sv"]);
  auto fourth = viewAt(1800.001);
  EXPECT_EQ(fourth["sd"], "1");
  EXPECT_NE(fourth["sv"], first["sv"]);
  EXPECT_EQ(platform->memoryStore().get(kSiteVisitRefreshTimeKey), Value(Date{kStart + 1800.001}));
}

TEST_F(SiteVisitTest, ContinuingViewsDoNotMoveTheStart) {
  auto first = viewAt(0);
  EXPECT_EQ(viewAt(20 * 60)["sd"], "2");
  auto late = viewAt(40 * 60);
  EXPECT_EQ(late["sd"], "1");
  EXPECT_NE(late["sv"], first["sv"]);
}

TEST_F(SiteVisitTest, AChangedReferrerStartsANewVisit) {
  tracker->setAppReferrer(std::string("a"));
  auto first = viewAt(0);
  EXPECT_EQ(first["sr"], "a");
  tracker->setAppReferrer(std::string("b"));
  auto second = viewAt(60);
  EXPECT_EQ(second["sd"], "1");
  EXPECT_EQ(second["sr"], "b");
  EXPECT_NE(second["sv"], first["sv"]);
}

TEST_F(SiteVisitTest, ANilReferrerReadsAsEmpty) {
  tracker->setAppReferrer(std::string(""));
  auto first = viewAt(0);
  tracker->setAppReferrer(std::nullopt);
  auto second = viewAt(60);
  EXPECT_EQ(second["sd"], "2");
  EXPECT_EQ(second["sv"], first["sv"]);

  tracker->setAppReferrer(std::string("a"));
  auto third = viewAt(120);
  tracker->setAppReferrer(std::nullopt);
  auto fourth = viewAt(180);
  EXPECT_EQ(fourth["sd"], "1");
  EXPECT_EQ(fourth["sr"], "");
  EXPECT_NE(fourth["sv"], third["sv"]);
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

TEST_F(SiteVisitTest, StoredValuesOfTheWrongTypeDoNotStopTheTracker) {
  platform->memoryStore().set(kSiteVisitRefreshTimeKey, Value("yesterday"));
  platform->memoryStore().set(kSiteVisitReferrerKey, Value(12));
  platform->memoryStore().set(kSiteVisitDepthKey, Value("7"));
  auto q = viewAt(0);
  EXPECT_EQ(q["sd"], "1") << "an unreadable start time means the visit has expired";
  EXPECT_EQ(depth(), 1);
}

}  // namespace
}  // namespace zelvo::test
