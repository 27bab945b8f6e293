#pragma once

#include <gtk/gtk.h>

#include <memory>

#include "zelvo/portable/host_platform.h"

namespace zelvo::gtk {

// Whether the application is in the foreground: one of its watched windows is active.
// Shared by the windows of one Integration. Thread: the GTK thread.
struct ApplicationActivity {
  int activeWindows = 0;
  bool active = true;  // an application starts in the foreground
};

// Attaches the input controller and the signal handlers that report `window` to the library;
// they live as long as the window.
void watchWindow(GtkWindow* window, std::shared_ptr<portable::HostPlatform> platform,
                 std::shared_ptr<ApplicationActivity> activity);

}  // namespace zelvo::gtk
