#include "tracker_fixture.h"

#include "zelvo/constants.h"

namespace zelvo::test {
namespace {

// The visit's rules, view by view, are in tests/scenarios/visit.jsonl (and site_visit.jsonl);
// here, what the store keeps and what a ping carries when the store loses part of the visit.
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

// The visit is stored and survives a restart over the same store.
TEST_F(SiteVisitTest, AFreshInstallStartsAVisitThatSurvivesARestart) {
  auto first = viewAt(0);
  EXPECT_EQ(first["sd"], "1");
  EXPECT_EQ(platform->memoryStore().get(kSiteVisitRefreshTimeKey), Value(Date{kStart}));
  EXPECT_EQ(platform->memoryStore().get(kSiteVisitReferrerKey), Value(""));
  EXPECT_EQ(platform->memoryStore().get(kSiteVisitDepthKey), Value(1));
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
