#pragma once

#include <optional>

#include "zelvo/export.h"

namespace zelvo {

// The main screen: its bounds in points and the number of device pixels per point.
struct ZELVO_EXPORT ScreenMetrics {
  double width = 0.0;
  double height = 0.0;
  double scale = 1.0;
};

class ZELVO_EXPORT Screen {
 public:
  virtual ~Screen() = default;
  // The main screen, or nothing when there is none. Thread: main.
  virtual std::optional<ScreenMetrics> mainScreen() const = 0;
};

}  // namespace zelvo
