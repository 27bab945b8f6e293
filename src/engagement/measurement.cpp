#include "tracker/tracker_internal.h"

namespace zelvo {

bool ZVTracker::Internal::isScrollView() const {
  // A scroll view that cannot tell its content size is measured as a plain view.
  return view && view->isScrollView() && view->answersContentSize();
}

Point ZVTracker::Internal::getContentOffset() const { return view ? view->contentOffset() : Point{}; }

double ZVTracker::Internal::getContentHeight() const {
  if (isScrollView()) return view->contentSize().height;
  return view ? view->boundsSize().height : 0.0;
}

double ZVTracker::Internal::getContentWidth() const {
  if (isScrollView()) return view->contentSize().width;
  return view ? view->boundsSize().width : 0.0;
}

void ZVTracker::Internal::updateMaxScrollLocation() {
  if (!isScrollView()) return;
  const double y = getContentOffset().y;
  // A failed comparison (NaN, or pulling above the top) keeps the maximum.
  if (y > maxScrollPosition) maxScrollPosition = y;
}

double ZVTracker::Internal::getScreenWidth() const {
  std::optional<ScreenMetrics> screen = platform->screen().mainScreen();
  return screen ? screen->width : 0.0;
}

double ZVTracker::Internal::getScreenHeight() const {
  std::optional<ScreenMetrics> screen = platform->screen().mainScreen();
  return screen ? screen->height : 0.0;
}

double ZVTracker::Internal::pointsToPixels(double points) const {
  // Zero of either sign is returned as it is, without asking the screen.
  if (points == 0.0) return points;
  std::optional<ScreenMetrics> screen = platform->screen().mainScreen();
  return points * (screen ? screen->scale : 0.0);
}

}  // namespace zelvo
