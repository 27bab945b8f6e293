#include <cmath>
#include <limits>

#include "tracker_fixture.h"

#include "engagement/measurement.h"

namespace zelvo::test {
namespace {

// The component alone, on a 2x screen.
class MeasurementComponentTest : public ::testing::Test {
 protected:
  zelvo::testing::FakeScreen screen;
  Measurement measurement{screen};
};

TEST_F(MeasurementComponentTest, TheMaximumIsNeverLoweredAndIsCutToWholePointsBeforeScaling) {
  SimpleScrollView scroll(Size{414, 800}, Size{414, 3000});
  for (double y : {100.7, 20.0, -50.0, std::numeric_limits<double>::quiet_NaN()}) {
    scroll.setContentOffset({0, y});
    measurement.updateMaxScrollLocation(&scroll);
  }
  EXPECT_EQ(measurement.maxScrollPosition(), 100.7);
  screen.setMainScreen(ScreenMetrics{414, 896, 3});
  EXPECT_EQ(measurement.maxScrollPositionInPixels(), 300u);
  measurement.updateMaxScrollLocation(nullptr);
  EXPECT_EQ(measurement.maxScrollPosition(), 100.7) << "a nil view keeps the maximum";
}

TEST_F(MeasurementComponentTest, ANilViewOrAScrollViewThatCannotTellItsContentSizeIsMeasuredAsAPlainView) {
  SimpleScrollView scroll(Size{100, 200}, Size{100, 9000});
  scroll.setAnswersContentSize(false);
  scroll.setContentOffset({0, 500});
  measurement.updateMaxScrollLocation(&scroll);
  EXPECT_FALSE(measurement.isScrollView(&scroll));
  EXPECT_EQ(measurement.getContentHeight(&scroll), 200.0);
  EXPECT_EQ(measurement.maxScrollPosition(), 0.0);
  EXPECT_EQ(measurement.getContentHeight(nullptr), 0.0);
  EXPECT_EQ(measurement.getContentWidth(nullptr), 0.0);
  EXPECT_EQ(measurement.getContentOffset(nullptr).y, 0.0);
}

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

// Through the tracker: what the pings carry and when the maximum starts again.
class MeasurementTest : public TrackerTest {
 protected:
  void track(std::shared_ptr<View> view, const std::string& id = "/a") {
    tracker->startTrackerWithAccountID(9, std::string("app"));
    tracker->trackView(std::move(view), id, std::string("T"));
  }
};

TEST_F(MeasurementTest, APlainViewIsMeasuredByItsBoundsInPixels) {
  platform->fakeScreen().setMainScreen(ScreenMetrics{320, 568, 2});
  track(std::make_shared<SimpleView>(Size{320, 480}));
  auto q = queryMap(lastUrl());
  EXPECT_EQ(q["y"], "960");
  EXPECT_EQ(q["o"], "640");
  EXPECT_EQ(q["x"], "0");
  EXPECT_EQ(q["m"], "0");
  EXPECT_EQ(q["w"], "1136");
  EXPECT_EQ(q["S"], "640");
  advance(5);
  EXPECT_EQ(in().measurement.maxScrollPosition(), 0.0);
}

TEST_F(MeasurementTest, TheMaximumScrollIsSampledEverySecondAndSentInPixels) {
  auto scroll = std::make_shared<SimpleScrollView>(Size{320, 480}, Size{320, 5000});
  track(scroll);
  scroll->setContentOffset({0, 1000});
  advance(1);
  scroll->setContentOffset({0, 200});
  EXPECT_EQ(in().measurement.maxScrollPosition(), 1000.0);
  advance(14);
  auto q = queryMap(lastUrl());
  EXPECT_EQ(q["x"], "400");
  EXPECT_EQ(q["m"], "2000");
  EXPECT_EQ(q["y"], "10000");
  EXPECT_EQ(q["o"], "640");
}

TEST_F(MeasurementTest, AnOverscrollAboveTheTopSendsZero) {
  auto scroll = std::make_shared<SimpleScrollView>(Size{320, 480}, Size{320, 5000});
  scroll->setContentOffset({0, -30});
  track(scroll);
  EXPECT_EQ(queryMap(lastUrl())["x"], "0");
}

TEST_F(MeasurementTest, ANewViewResetsTheMaximumButARepeatKeepsIt) {
  auto scroll = std::make_shared<SimpleScrollView>(Size{100, 200}, Size{100, 9000});
  track(scroll, "/a");
  scroll->setContentOffset({0, 70});
  advance(1);
  tracker->trackView(scroll, std::string("/a"), std::string("T"));
  EXPECT_EQ(in().measurement.maxScrollPosition(), 70.0);
  scroll->setContentOffset({0, 10});
  tracker->trackView(scroll, std::string("/b"), std::string("T"));
  EXPECT_EQ(in().measurement.maxScrollPosition(), 0.0);
}

TEST_F(MeasurementTest, HugeSizesAreSentAsTheLargestValueWithoutOverflow) {
  track(std::make_shared<SimpleView>(Size{1e12, std::numeric_limits<double>::infinity()}));
  auto q = queryMap(lastUrl());
  EXPECT_EQ(q["y"], "-1") << "the largest unsigned value printed as signed";
  EXPECT_EQ(q["o"], "-1");
}

}  // namespace
}  // namespace zelvo::test
