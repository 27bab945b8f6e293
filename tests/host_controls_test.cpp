// The host's controls: the collection switch, erasing the reader, and the ping status.
#include <map>

#include "privacy/collection_gate.h"
#include "tracker_fixture.h"
#include "zelvo/constants.h"

namespace zelvo::test {
namespace {

class HostControlsTest : public TrackerTest {
 protected:
  void startAndView() {
    tracker->startTrackerWithAccountID(12345, std::string("com.example.news"));
    tracker->trackView(std::make_shared<SimpleScrollView>(Size{375, 667}, Size{375, 4000}), std::string("/a"), std::string("A"));
  }
};

TEST_F(HostControlsTest, WhileCollectionIsOffNothingIsSentOrStoredButTheSwitchWhichOutlivesTheTracker) {
  tracker->setCollectionEnabled(false);
  std::map<std::string, Value> stored = platform->memoryStore().snapshot();
  const std::size_t configFetches = platform->http().fetchedUrls().size();
  startAndView();
  advance(120);
  EXPECT_EQ(pingCount(), 0u);
  EXPECT_EQ(platform->http().fetchedUrls().size(), configFetches);
  EXPECT_EQ(platform->memoryStore().snapshot(), stored);
  EXPECT_EQ(stored.at(CollectionGate::kCollectionEnabledKey), Value(false));

  restart();
  EXPECT_FALSE(tracker->collectionEnabled()) << "the switch is kept across launches";
  tracker->setCollectionEnabled(true);
  startAndView();
  advance(20);
  EXPECT_GT(pingCount(), 0u);
}

TEST_F(HostControlsTest, AfterAnEraseTheNextStartIsANewReader) {
  startAndView();
  advance(20);
  const std::optional<std::string> before = tracker->userToken();
  ASSERT_TRUE(before);
  tracker->eraseStoredData();
  EXPECT_FALSE(platform->memoryStore().get(kZVPersistenTokenKey));
  EXPECT_FALSE(platform->memoryStore().get(kSiteVisitUidKey));
  startAndView();
  ASSERT_TRUE(tracker->userToken());
  EXPECT_NE(*tracker->userToken(), *before);
  EXPECT_EQ(platform->memoryStore().get(kZVPersistenTokenKey), Value(*tracker->userToken()));
}

// Past the bound a value is refused at the door, before carrying it to the main thread would
// copy it level by level.
TEST_F(HostControlsTest, ValuesNestedPastTheBoundAreRefusedBySetters) {
  const auto nested = [](int levels) {
    Value value("leaf");
    for (int i = 0; i < levels; ++i) value = Value(Value::Array{std::move(value)});
    return value;
  };
  tracker->setIdSync(nested(Value::kMaxNesting));
  tracker->setExtraParams(nested(Value::kMaxNesting));
  tracker->setIdSync(nested(Value::kMaxNesting + 1));
  tracker->setExtraParams(nested(Value::kMaxNesting + 1));
  EXPECT_EQ(tracker->idSync(), nested(Value::kMaxNesting));
  EXPECT_EQ(tracker->extraParams(), nested(Value::kMaxNesting));
  for (const char* setter : {"setIdSync", "setExtraParams"}) {
    EXPECT_EQ(platform->log().count("[ZV]:Ignoring " + std::string(setter) + ": the value nests deeper than 64 levels"), 1u);
  }
}

TEST_F(HostControlsTest, PingsSkippedOfflineAreCountedAndReportedOnTheMainThread) {
  std::vector<ZVPingOutcome> outcomes;
  tracker->setPingOutcomeCallback([&](const ZVPingOutcome& outcome) { outcomes.push_back(outcome); });
  platform->reachability().setFlags(0);
  startAndView();
  advance(20);
  platform->reachability().setFlags(reachability_flags::kReachable);
  advance(15);
  const ZVStatus status = tracker->pingStatus();
  EXPECT_GT(status.skippedOffline, 0u);
  EXPECT_EQ(status.pingsAttempted, status.pingsDelivered);
  EXPECT_EQ(status.pingsAttempted, pingCount());
  ASSERT_EQ(outcomes.size(), status.skippedOffline + status.pingsDelivered);
  EXPECT_EQ(outcomes.front().kind, ZVPingOutcome::Kind::kSkippedOffline);
  EXPECT_EQ(outcomes.back().kind, ZVPingOutcome::Kind::kDelivered);
  EXPECT_EQ(outcomes.back().statusCode, 200);
}

}  // namespace
}  // namespace zelvo::test
