#include "zelvo/portable/host_screen.h"

namespace zelvo::portable {

std::optional<ScreenMetrics> HostScreen::mainScreen() const {
  std::lock_guard lock(mutex_);
  return metrics_;
}

void HostScreen::setMainScreen(std::optional<ScreenMetrics> metrics) {
  std::lock_guard lock(mutex_);
  metrics_ = metrics;
}

}  // namespace zelvo::portable
