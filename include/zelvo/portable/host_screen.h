#pragma once

#include <mutex>
#include <optional>

#include "zelvo/platform/screen.h"
#include "zelvo/export.h"

namespace zelvo::portable {

// The main screen as the host describes it: a desktop has no one main screen a library could
// ask for (X11, Wayland, a framebuffer, none at all), so the host tells us its window's
// display in points and its scale, and again whenever they change. None until it does.
// Thread: every member is safe from any thread.
class ZELVO_EXPORT HostScreen : public Screen {
 public:
  std::optional<ScreenMetrics> mainScreen() const override;
  // Nothing means there is no screen (a headless host).
  void setMainScreen(std::optional<ScreenMetrics> metrics);

 private:
  mutable std::mutex mutex_;
  std::optional<ScreenMetrics> metrics_;  // guarded by mutex_
};

}  // namespace zelvo::portable
