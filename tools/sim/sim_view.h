#pragma once

#include "zelvo/platform/view.h"

namespace zelvo::sim {

// A named view of a scenario. A `view` line may turn a plain view into a scroll view and back,
// and the tracker must still see the same object, so one class carries every property.
class SimView : public View {
 public:
  Size bounds;
  bool scroll = false;
  bool answers = true;
  Size content;
  Point offset;

  Size boundsSize() const override { return bounds; }
  bool isScrollView() const override { return scroll; }
  bool answersContentSize() const override { return answers; }
  Size contentSize() const override { return content; }
  Point contentOffset() const override { return offset; }
};

}  // namespace zelvo::sim
