#include "tracker_fixture.h"

#include "identity/identity.h"
#include "zelvo/constants.h"

namespace zelvo::test {
namespace {

constexpr double kDay = 86400.0;

// The component alone, on a store of its own.
class ReturningUsersTest : public ::testing::Test {
 protected:
  double today() { return platform->calendar().startOfDay(platform->clock().now()); }
  void storeOpenDays(std::initializer_list<double> days) {
    Value::Array array;
    for (double d : days) array.emplace_back(Date{d});
    platform->memoryStore().set(kZVAppOpenDatesKey, Value(std::move(array)));
  }
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
  Identity identity{*platform, gate};
};

TEST_F(ReturningUsersTest, TheFirstRunKnowsOnlyToday) {
  EXPECT_EQ(frequency(), "00001");
  EXPECT_EQ(storedOpenDays(), std::vector<double>{today()});
  EXPECT_EQ(frequency(), "00001") << "the same midnight is not added twice";
  EXPECT_EQ(storedOpenDays().size(), 1u);
}

TEST_F(ReturningUsersTest, TheMaskHasABitPerDayAndTheOldestAgeAbove) {
  storeOpenDays({today() - kDay, today() - 3 * kDay});
  EXPECT_EQ(frequency(), "3000b");
}

TEST_F(ReturningUsersTest, FifteenDaysBackIsKeptAndSixteenDropped) {
  storeOpenDays({today() - 15 * kDay, today() - 16 * kDay, today() + 3600});
  EXPECT_EQ(frequency(), "f8001");
  auto kept = storedOpenDays();
  EXPECT_EQ(kept.size(), 2u);
  EXPECT_EQ(std::count(kept.begin(), kept.end(), today() - 16 * kDay), 0);
  EXPECT_EQ(std::count(kept.begin(), kept.end(), today() + 3600), 0) << "a date after today's midnight is dropped";
}

TEST_F(ReturningUsersTest, ADayShortenedByDaylightSavingCountsOneLower) {
  // Berlin moves its clocks forward on 2026-03-29. At noon on 2026-03-30 (10:00Z), yesterday's
  // midnight is 23 hours before today's and counts as today; the day before counts as one.
  platform->setTimeZone("Europe/Berlin");
  platform->virtualClock().set(kStart + 2 * kDay);
  const double todayMidnight = today();
  EXPECT_EQ(todayMidnight, kStart + 2 * kDay - 12 * 3600.0);
  const double yesterday = todayMidnight - 23 * 3600.0;
  const double twoDaysBack = yesterday - kDay;
  EXPECT_EQ(platform->calendar().startOfDay(yesterday + 3600), yesterday);
  storeOpenDays({yesterday, twoDaysBack});
  EXPECT_EQ(frequency(), "10003");
}

TEST_F(ReturningUsersTest, ADayLengthenedByDaylightSavingStillCountsOne) {
  // New York falls back on 2026-11-01: that day lasts 25 hours.
  platform->setTimeZone("America/New_York");
  platform->virtualClock().set(815313600.0);  // 2026-11-02T12:00:00Z
  const double todayMidnight = today();
  EXPECT_EQ(todayMidnight, 815288400.0);  // 2026-11-02T05:00:00Z
  storeOpenDays({todayMidnight - 25 * 3600.0});
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

TEST_F(TrackerTest, TheNewFlagAndTheReturnFrequencyReachThePingsAndSurviveARestart) {
  tracker->startTrackerWithAccountID(9, std::string("app"));
  post(ApplicationEvent::kDidBecomeActive);  // the first visit
  platform->virtualClock().set(kStart + kDay);
  restart();
  tracker->startTrackerWithAccountID(9, std::string("app"));
  tracker->trackView(std::make_shared<SimpleView>(), std::string("/a"), std::string("A"));
  auto q = queryMap(lastUrl());
  EXPECT_EQ(q["f"], "10003");
  EXPECT_EQ(q["n"], "0") << "a day after the first visit";
  platform->virtualClock().set(kStart + kDay + 40 * 86400.0);
  post(ApplicationEvent::kDidBecomeActive);
  tracker->trackView(std::make_shared<SimpleView>(), std::string("/b"), std::string("B"));
  q = queryMap(lastUrl());
  EXPECT_EQ(q["n"], "1") << "back after more than thirty days";
  EXPECT_EQ(q["f"], "00001") << "the earlier opens are more than fifteen days back";
}

TEST_F(ReturningUsersTest, OpenDaysOfTheWrongTypeAreSkipped) {
  platform->memoryStore().set(kZVAppOpenDatesKey, Value(Value::Array{Value("x"), Value(Date{today() - kDay}), Value(3)}));
  EXPECT_EQ(frequency(), "10003");
  platform->memoryStore().set(kZVAppOpenDatesKey, Value("garbage"));
  EXPECT_EQ(frequency(), "00001");
}

}  // namespace
}  // namespace zelvo::test
