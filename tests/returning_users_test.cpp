#include <string>

#include "component_fixture.h"
#include "identity/identity.h"
#include "zelvo/constants.h"

namespace zelvo::test {
namespace {

// The component alone, on the single fakes. What the pings carry of it is in
// tests/scenarios/returning.jsonl.
class ReturningUsersTest : public ComponentTest {
 protected:
  double today() { return calendar.startOfDay(clock.now()); }
  std::string frequency() {
    identity.updateUserReturnFrequency();
    return identity.userReturnFrequencyHex().value_or("");
  }
  Identity identity{&store, clock, calendar, uuids, gate};
};

TEST_F(ReturningUsersTest, TheFirstRunKnowsOnlyTodayAndAddsItOnce) {
  EXPECT_EQ(frequency(), "00001");
  EXPECT_EQ(frequency(), "00001");
  EXPECT_EQ(store.get(kZVAppOpenDatesKey), Value(Value::Array{Value(Date{today()})}));
}

// A day that daylight saving lengthened to 25 hours still counts one (New York falls back on
// 2026-11-01). The mask's other rules are in tests/scenarios/returning.jsonl.
TEST_F(ReturningUsersTest, ADayLengthenedByDaylightSavingStillCountsOne) {
  calendar.setZone("America/New_York");
  clock.set(815313600.0);  // 2026-11-02T12:00:00Z
  EXPECT_EQ(today(), 815288400.0);           // 2026-11-02T05:00:00Z
  store.set(kZVAppOpenDatesKey, Value(Value::Array{Value(Date{today() - 25 * 3600.0})}));
  EXPECT_EQ(frequency(), "10003");
}

TEST_F(ReturningUsersTest, TheFirstVisitMovesOnlyAfterMoreThanThirtyDaysAway) {
  clock.set(kStart);
  identity.remembeUserVisit();
  EXPECT_EQ(store.get(kZVUserFirstVisitTrackingKey), Value(Date{kStart}));
  EXPECT_TRUE(identity.isUserNew());
  clock.set(kStart + 1799.999);
  EXPECT_TRUE(identity.isUserNew());
  clock.set(kStart + 1800);
  EXPECT_FALSE(identity.isUserNew());

  clock.set(kStart + 2592000);
  identity.remembeUserVisit();
  EXPECT_EQ(store.get(kZVUserFirstVisitTrackingKey), Value(Date{kStart}));
  const double later = kStart + 2 * 2592000 + 1;
  clock.set(later);
  identity.remembeUserVisit();
  EXPECT_EQ(store.get(kZVUserFirstVisitTrackingKey), Value(Date{later}));
  EXPECT_EQ(store.get(kZVUserVisitTrackingKey), Value(Date{later}));
  EXPECT_TRUE(identity.isUserNew());
}

TEST_F(ReturningUsersTest, WithoutAFirstVisitNobodyIsNew) {
  EXPECT_FALSE(identity.isUserNew());
  store.set(kZVUserFirstVisitTrackingKey, Value("not a date"));
  EXPECT_FALSE(identity.isUserNew());
}

}  // namespace
}  // namespace zelvo::test
