#include "tracker_fixture.h"

#include "identity/identity.h"
#include "zelvo/constants.h"

namespace zelvo::test {
namespace {

// The component alone, on a store of its own. What the pings carry of it is in
// tests/scenarios/returning.jsonl.
class ReturningUsersTest : public ::testing::Test {
 protected:
  double today() { return platform->calendar().startOfDay(platform->clock().now()); }
  std::vector<double> storedOpenDays() {
    std::vector<double> out;
    auto v = platform->memoryStore().get(kZVAppOpenDatesKey);
    if (v && v->asArray()) {
      for (const Value& e : *v->asArray()) out.push_back(e.asDate()->seconds);
    }
    return out;
  }
  std::string frequency() {
    identity.updateUserReturnFrequency();
    return identity.userReturnFrequencyHex().value_or("");
  }
  std::shared_ptr<zelvo::testing::TestingPlatform> platform = std::make_shared<zelvo::testing::TestingPlatform>(kStart);
  LogGate gate{platform->logSink()};
  Identity identity{platform->store(), platform->clock(), platform->calendar(), platform->uuidSource(), gate};
};

TEST_F(ReturningUsersTest, TheFirstRunKnowsOnlyTodayAndAddsItOnce) {
  EXPECT_EQ(frequency(), "00001");
  EXPECT_EQ(frequency(), "00001");
  EXPECT_EQ(storedOpenDays(), std::vector<double>{today()});
}

// A day that daylight saving lengthened to 25 hours still counts one (New York falls back on
// 2026-11-01). The mask's other rules are in tests/scenarios/returning.jsonl.
TEST_F(ReturningUsersTest, ADayLengthenedByDaylightSavingStillCountsOne) {
  platform->setTimeZone("America/New_York");
  platform->virtualClock().set(815313600.0);  // 2026-11-02T12:00:00Z
  EXPECT_EQ(today(), 815288400.0);           // 2026-11-02T05:00:00Z
  platform->memoryStore().set(kZVAppOpenDatesKey, Value(Value::Array{Value(Date{today() - 25 * 3600.0})}));
  EXPECT_EQ(frequency(), "10003");
}

TEST_F(ReturningUsersTest, TheFirstVisitMovesOnlyAfterMoreThanThirtyDaysAway) {
  platform->virtualClock().set(kStart);
  identity.remembeUserVisit();
  EXPECT_EQ(platform->memoryStore().get(kZVUserFirstVisitTrackingKey), Value(Date{kStart}));
  EXPECT_TRUE(identity.isUserNew());
  platform->virtualClock().set(kStart + 1799.999);
  EXPECT_TRUE(identity.isUserNew());
  platform->virtualClock().set(kStart + 1800);
  EXPECT_FALSE(identity.isUserNew());

  platform->virtualClock().set(kStart + 2592000);
  identity.remembeUserVisit();
  EXPECT_EQ(platform->memoryStore().get(kZVUserFirstVisitTrackingKey), Value(Date{kStart}));
  const double later = kStart + 2 * 2592000 + 1;
  platform->virtualClock().set(later);
  identity.remembeUserVisit();
  EXPECT_EQ(platform->memoryStore().get(kZVUserFirstVisitTrackingKey), Value(Date{later}));
  EXPECT_EQ(platform->memoryStore().get(kZVUserVisitTrackingKey), Value(Date{later}));
  EXPECT_TRUE(identity.isUserNew());
}

TEST_F(ReturningUsersTest, WithoutAFirstVisitNobodyIsNew) {
  EXPECT_FALSE(identity.isUserNew());
  platform->memoryStore().set(kZVUserFirstVisitTrackingKey, Value("not a date"));
  EXPECT_FALSE(identity.isUserNew());
}

}  // namespace
}  // namespace zelvo::test
