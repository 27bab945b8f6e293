#pragma once

#include <cstdint>

#include "zelvo/platform/screen.h"
#include "zelvo/platform/view.h"

namespace zelvo {

// What the pings say about the screen: the view's size and scroll offset and the main
// screen's size, in device pixels, and the deepest scroll offset reached on the current view.
// The view is the tracker's (a descriptive property) and is passed in; null measures zero.
// Every read asks the view or the screen again, so the order of the calls is the order in
// which the host sees them asked. Thread: main.
class Measurement {
 public:
  // `screen` must outlive this.
  explicit Measurement(const Screen& screen) : screen_(screen) {}

  bool isScrollView(const View* view) const;
  Point getContentOffset(const View* view) const;
  double getContentHeight(const View* view) const;
  double getContentWidth(const View* view) const;
  // Sampled once a second by the heartbeat.
  void updateMaxScrollLocation(const View* view);
  // A new view starts from the top.
  void resetMaxScrollLocation() { maxScrollPosition_ = 0.0; }
  double maxScrollPosition() const { return maxScrollPosition_; }
  // The maximum in pixels, cut to whole points before scaling.
  uint32_t maxScrollPositionInPixels() const;

  double getScreenWidth() const;
  double getScreenHeight() const;
  double pointsToPixels(double points) const;

 private:
  const Screen& screen_;
  double maxScrollPosition_ = 0.0;
};

}  // namespace zelvo
