#include "component_fixture.h"
#include "identity/site_visit.h"
#include "zelvo/constants.h"

namespace zelvo::test {
namespace {

// The component alone, on the single fakes. The visit's rules, view by view, and what the
// pings carry of it are in tests/scenarios/visit.jsonl, site_visit.jsonl and
// visit_depth_lost.jsonl; a ping without a visit id or depth, in ping_parameters_test.cpp.
class SiteVisitTest : public ComponentTest {
 protected:
  SiteVisit visit{&store, clock, uuids, gate};
};

// The visit lives in the store only, so a new component over it (the application restarted)
// continues it.
TEST_F(SiteVisitTest, AFreshStoreStartsAVisitThatSurvivesARestart) {
  visit.trackSiteVisit(std::nullopt);
  const std::optional<std::string> id = visit.getSiteVisitId();
  ASSERT_TRUE(id);
  EXPECT_EQ(store.get(kSiteVisitRefreshTimeKey), Value(Date{kStart}));
  EXPECT_EQ(store.get(kSiteVisitReferrerKey), Value(""));
  EXPECT_EQ(store.get(kSiteVisitDepthKey), Value(1));
  clock.set(kStart + 100);
  SiteVisit restarted{&store, clock, uuids, gate};
  restarted.trackSiteVisit(std::nullopt);
  EXPECT_EQ(restarted.getSiteVisitDepth(), 2);
  EXPECT_EQ(restarted.getSiteVisitId(), id);
}

// What the tracker gathers for a ping when the store lost part of the visit: no id, depth 0.
TEST_F(SiteVisitTest, WhatTheStoreLostOrCannotReadIsNoVisitAndEraseRemovesTheRest) {
  gate.setDebugMode(true);
  visit.trackSiteVisit(std::string("r"));
  store.remove(kSiteVisitDepthKey);
  store.set(kSiteVisitUidKey, Value(42));
  EXPECT_EQ(visit.getSiteVisitDepth(), 0);
  EXPECT_EQ(visit.getSiteVisitId(), std::nullopt);
  EXPECT_EQ(log.count(std::string("[ZV]:Ignoring stored ") + kSiteVisitUidKey + ": not a string"), 1u);
  EXPECT_EQ(visit.getSiteVisitReferrer(), "r");
  visit.erase();
  EXPECT_TRUE(store.snapshot().empty());
  // Without a store (consent withdrawn before any was opened) there is nothing to erase or read.
  SiteVisit storeless{nullptr, clock, uuids, gate};
  storeless.erase();
  EXPECT_EQ(storeless.getSiteVisitDepth(), 0);
}

}  // namespace
}  // namespace zelvo::test
