#include <cmath>
#include <limits>

#include "tracker_fixture.h"

namespace zelvo::test {
namespace {

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
  EXPECT_EQ(in().maxScrollPosition, 0.0);
}

TEST_F(MeasurementTest, TheMaximumScrollIsSampledEverySecondAndNeverLowered) {
  auto scroll = std::make_shared<SimpleScrollView>(Size{320, 480}, Size{320, 5000});
  track(scroll);
  scroll->setContentOffset({0, 1000});
  advance(1);
  scroll->setContentOffset({0, 200});
  advance(1);
  scroll->setContentOffset({0, -50});
  advance(1);
  scroll->setContentOffset({0, std::numeric_limits<double>::quiet_NaN()});
  advance(1);
  scroll->setContentOffset({0, 200});
  EXPECT_EQ(in().maxScrollPosition, 1000.0);
  advance(11);
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

TEST_F(MeasurementTest, TheMaximumIsCutToWholePointsBeforeScaling) {
  platform->fakeScreen().setMainScreen(ScreenMetrics{414, 896, 3});
  auto scroll = std::make_shared<SimpleScrollView>(Size{414, 800}, Size{414, 3000});
  track(scroll);
  scroll->setContentOffset({0, 100.7});
  advance(15);
  auto q = queryMap(lastUrl());
  EXPECT_EQ(q["m"], "300");
  EXPECT_EQ(q["x"], "302");
}

TEST_F(MeasurementTest, AScrollViewThatCannotTellItsContentSizeIsAPlainView) {
  auto scroll = std::make_shared<SimpleScrollView>(Size{100, 200}, Size{100, 9000});
  scroll->setAnswersContentSize(false);
  scroll->setContentOffset({0, 500});
  track(scroll);
  advance(15);
  auto q = queryMap(lastUrl());
  EXPECT_EQ(q["y"], "400");
  EXPECT_EQ(q["x"], "0");
  EXPECT_EQ(q["m"], "0");
}

TEST_F(MeasurementTest, ANilViewMeasuresZeroAndKeepsTheMaximum) {
  auto scroll = std::make_shared<SimpleScrollView>(Size{100, 200}, Size{100, 9000});
  track(scroll);
  scroll->setContentOffset({0, 50});
  advance(1);
  tracker->setView(nullptr);
  advance(14);
  auto q = queryMap(lastUrl());
  EXPECT_EQ(q["y"], "0");
  EXPECT_EQ(q["o"], "0");
  EXPECT_EQ(q["x"], "0");
  EXPECT_EQ(q["m"], "100");
}

TEST_F(MeasurementTest, ANewViewResetsTheMaximumButARepeatKeepsIt) {
  auto scroll = std::make_shared<SimpleScrollView>(Size{100, 200}, Size{100, 9000});
  track(scroll, "/a");
  scroll->setContentOffset({0, 70});
  advance(1);
  tracker->trackView(scroll, std::string("/a"), std::string("T"));
  EXPECT_EQ(in().maxScrollPosition, 70.0);
  scroll->setContentOffset({0, 10});
  tracker->trackView(scroll, std::string("/b"), std::string("T"));
  EXPECT_EQ(in().maxScrollPosition, 0.0);
}

TEST_F(MeasurementTest, PointsToPixelsLeavesZeroAloneAndAsksTheScreenOtherwise) {
  const int before = platform->fakeScreen().queryCount();
  EXPECT_EQ(in().pointsToPixels(0.0), 0.0);
  EXPECT_TRUE(std::signbit(in().pointsToPixels(-0.0)));
  EXPECT_EQ(platform->fakeScreen().queryCount(), before);
  EXPECT_EQ(in().pointsToPixels(-10.0), -20.0);
  EXPECT_EQ(platform->fakeScreen().queryCount(), before + 1);
  platform->fakeScreen().setMainScreen(std::nullopt);
  EXPECT_EQ(in().pointsToPixels(10.0), 0.0);
  EXPECT_EQ(in().getScreenWidth(), 0.0);
  EXPECT_EQ(in().getScreenHeight(), 0.0);
}

TEST_F(MeasurementTest, HugeSizesAreSentAsTheLargestValueWithoutOverflow) {
  track(std::make_shared<SimpleView>(Size{1e12, std::numeric_limits<double>::infinity()}));
  auto q = queryMap(lastUrl());
  EXPECT_EQ(q["y"], "-1") << "the largest unsigned value printed as signed";
  EXPECT_EQ(q["o"], "-1");
}

}  // namespace
}  // namespace zelvo::test
