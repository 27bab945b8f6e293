#include <cmath>

#include "tracker_fixture.h"

#include "engagement/measurement.h"

namespace zelvo::test {
namespace {

// What the pings carry of the measurement is in tests/scenarios/measurement.jsonl and
// engagement.jsonl; here, the component alone on a 2x screen, where no ping can show it.
class MeasurementComponentTest : public ::testing::Test {
 protected:
  zelvo::testing::FakeScreen screen;
  Measurement measurement{screen};
};

TEST_F(MeasurementComponentTest, PointsToPixelsLeavesZeroAloneAndAsksTheScreenOtherwise) {
  const int before = screen.queryCount();
  EXPECT_EQ(measurement.pointsToPixels(0.0), 0.0);
  EXPECT_TRUE(std::signbit(measurement.pointsToPixels(-0.0)));
  EXPECT_EQ(screen.queryCount(), before);
  EXPECT_EQ(measurement.pointsToPixels(-10.0), -20.0);
  EXPECT_EQ(screen.queryCount(), before + 1);
  screen.setMainScreen(std::nullopt);
  EXPECT_EQ(measurement.pointsToPixels(10.0), 0.0);
  EXPECT_EQ(measurement.getScreenWidth(), 0.0);
  EXPECT_EQ(measurement.getScreenHeight(), 0.0);
}

}  // namespace
}  // namespace zelvo::test
