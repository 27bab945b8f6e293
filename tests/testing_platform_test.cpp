#include <gtest/gtest.h>

#include <set>

#include "zelvo/testing/testing_platform.h"

namespace zelvo::testing {
namespace {

namespace flags = reachability_flags;

Ipv4SocketAddress address(std::array<uint8_t, 4> bytes) {
  Ipv4SocketAddress a;
  a.address = bytes;
  return a;
}

class ScriptedReachabilityTest : public ::testing::Test {
 protected:
  TestingPlatform platform_;
  ScriptedReachabilitySource& source_ = platform_.reachability();

  std::unique_ptr<ReachabilityTarget> scheduled(std::unique_ptr<ReachabilityTarget> target, int& calls) {
    target->setCallback([&calls] { ++calls; });
    target->scheduleOnMainRunLoop();
    return target;
  }
};

TEST_F(ScriptedReachabilityTest, TargetsReadTheirFlagsAndAnnounceChangesOnTheMainLoop) {
  int internetCalls = 0, hostCalls = 0, localCalls = 0;
  auto internet = scheduled(source_.targetForAddress(address({0, 0, 0, 0})), internetCalls);
  auto host = scheduled(source_.targetForHostName("example.test"), hostCalls);
  auto local = scheduled(source_.targetForAddress(address({169, 254, 0, 0})), localCalls);

  source_.setFlags(flags::kReachable | flags::kIsWWAN);
  source_.setLocalFlags(std::nullopt);
  EXPECT_EQ(internet->flags(), flags::kReachable | flags::kIsWWAN);
  EXPECT_EQ(host->flags(), flags::kReachable | flags::kIsWWAN);
  EXPECT_EQ(local->flags(), std::nullopt);
  EXPECT_EQ(internetCalls + hostCalls + localCalls, 0);  // announced later, on the main loop
  platform_.runLoop().runPendingTasks();
  EXPECT_EQ(internetCalls, 1);
  EXPECT_EQ(hostCalls, 1);
  EXPECT_EQ(localCalls, 1);

  // Unchanged flags announce nothing; an unscheduled target hears nothing.
  source_.setFlags(flags::kReachable | flags::kIsWWAN);
  host->unscheduleFromMainRunLoop();
  source_.setFlags(0);
  platform_.runLoop().runPendingTasks();
  EXPECT_EQ(internetCalls, 2);
  EXPECT_EQ(hostCalls, 1);
  EXPECT_EQ(localCalls, 1);
  EXPECT_EQ(source_.requestedAddresses().size(), 2u);
}

TEST_F(ScriptedReachabilityTest, TargetDestroyedWithAnAnnouncementPendingIsNotCalled) {
  int calls = 0;
  auto target = scheduled(source_.targetForAddress(address({0, 0, 0, 0})), calls);
  source_.setFlags(0);
  target.reset();
  platform_.runLoop().runPendingTasks();
  EXPECT_EQ(calls, 0);

  source_.setRefuseTargets(true);
  EXPECT_EQ(source_.targetForHostName("example.test"), nullptr);
  EXPECT_EQ(source_.targetForAddress(address({0, 0, 0, 0})), nullptr);
}

TEST(SeededUuidSourceTest, QueuedBytesFirstThenAReproducibleVersion4Sequence) {
  SeededUuidSource a(42), b(42), c(43);
  const std::array<uint8_t, 16> fixed{1, 2, 3};
  a.enqueue(fixed);
  EXPECT_EQ(a.newUuidBytes(), fixed);
  std::set<std::array<uint8_t, 16>> seen;
  for (int i = 0; i < 100; ++i) {
    const auto bytes = a.newUuidBytes();
    EXPECT_EQ(bytes, b.newUuidBytes());
    EXPECT_EQ(bytes[6] >> 4, 4);
    EXPECT_EQ(bytes[8] >> 6, 2);
    seen.insert(bytes);
  }
  EXPECT_EQ(seen.size(), 100u);
  EXPECT_NE(SeededUuidSource(42).newUuidBytes(), c.newUuidBytes());
}

TEST(TestingPlatformTest, TimeZoneChangeKeepsTheCalendarObject) {
  TestingPlatform platform(0.0, "Europe/Berlin");
  Calendar& calendar = platform.calendar();  // as a tracker would hold it
  const double noon = 12 * 3600.0;          // 2001-01-01, Berlin one hour ahead
  EXPECT_EQ(calendar.startOfDay(noon), -3600.0);
  platform.setTimeZone("America/New_York");
  EXPECT_EQ(calendar.startOfDay(noon), 5 * 3600.0);
}

}  // namespace
}  // namespace zelvo::testing
