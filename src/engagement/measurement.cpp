#include "engagement/measurement.h"

#include <optional>

#include "common/numeric.h"

namespace zelvo {

bool Measurement::isScrollView(const View* view) const {
  // A scroll view that cannot tell its content size is measured as a plain view.
  return view && view->isScrollView() && view->answersContentSize();
}

Point Measurement::getContentOffset(const View* view) const { return view ? view->contentOffset() : Point{}; }

double Measurement::getContentHeight(const View* view) const {
  if (isScrollView(view)) return view->contentSize().height;
  return view ? view->boundsSize().height : 0.0;
}

double Measurement::getContentWidth(const View* view) const {
  if (isScrollView(view)) return view->contentSize().width;
  return view ? view->boundsSize().width : 0.0;
}

void Measurement::updateMaxScrollLocation(const View* view) {
  if (!isScrollView(view)) return;
  const double y = getContentOffset(view).y;
  // A failed comparison (NaN, or pulling above the top) keeps the maximum.
  if (y > maxScrollPosition_) maxScrollPosition_ = y;
}

uint32_t Measurement::maxScrollPositionInPixels() const {
  // Cut to whole points before scaling, so the maximum is always a multiple of the scale.
  return truncateToUInt32(pointsToPixels(static_cast<double>(truncateToUInt32(maxScrollPosition_))));
}

double Measurement::getScreenWidth() const {
  std::optional<ScreenMetrics> screen = screen_.mainScreen();
  return screen ? screen->width : 0.0;
}

double Measurement::getScreenHeight() const {
  std::optional<ScreenMetrics> screen = screen_.mainScreen();
  return screen ? screen->height : 0.0;
}

double Measurement::pointsToPixels(double points) const {
  // Zero of either sign is returned as it is, without asking the screen.
  if (points == 0.0) return points;
  std::optional<ScreenMetrics> screen = screen_.mainScreen();
  return points * (screen ? screen->scale : 0.0);
}

}  // namespace zelvo
