#pragma once

#include <mutex>
#include <optional>

#include "zelvo/platform/screen.h"
#include "zelvo/export.h"

namespace zelvo::testing {

class ZELVO_EXPORT FakeScreen : public Screen {
 public:
  std::optional<ScreenMetrics> mainScreen() const override;
  void setMainScreen(std::optional<ScreenMetrics> screen);
  // How often the main screen was asked for.
  int queryCount() const;

 private:
  mutable std::mutex mutex_;
  std::optional<ScreenMetrics> screen_ = ScreenMetrics{375.0, 667.0, 2.0};
  mutable int queries_ = 0;
};

}  // namespace zelvo::testing
