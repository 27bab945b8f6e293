#pragma once

#include "zelvo/platform/platform.h"
#include "zelvo/export.h"

namespace zelvo {

// The touch hook: once installed in the application's event dispatch, every touch event the
// application has handled is announced to the tracker as an engagement event.
class ZELVO_EXPORT ZVCaptureEvents {
 public:
  // Installs the hook into the installed platform's event dispatch. The tracker's first start
  // does this once per application; a second installation replaces the first.
  // Thread: main.
  static void initializeEventsCapturing();
  static void initializeEventsCapturing(Platform& platform);
  // The hook itself: after the application handled `event`, posts the touch notification on
  // `notificationCenter` (a NotificationCenter*) for touch events only. Allocates nothing.
  static void swizzeledSendEvent(void* notificationCenter, const Event& event);
};

}  // namespace zelvo
