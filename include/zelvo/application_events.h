#pragma once

#include "zelvo/platform/platform.h"
#include "zelvo/export.h"

namespace zelvo {

// Names of the application and keyboard notifications the tracker follows. A host posts them
// on its platform's notification centre, on the main thread, or with postApplicationEvent().
inline constexpr const char* kApplicationWillResignActiveNotification = "UIApplicationWillResignActiveNotification";
inline constexpr const char* kApplicationWillTerminateNotification = "UIApplicationWillTerminateNotification";
inline constexpr const char* kApplicationDidBecomeActiveNotification = "UIApplicationDidBecomeActiveNotification";
inline constexpr const char* kKeyboardDidShowNotification = "UIKeyboardDidShowNotification";
inline constexpr const char* kKeyboardWillHideNotification = "UIKeyboardWillHideNotification";

enum class ApplicationEvent {
  kWillResignActive,  // the application is about to leave the foreground
  kWillTerminate,     // the application is about to exit
  kDidBecomeActive,   // the application is back in the foreground
  kKeyboardDidShow,   // the on-screen keyboard finished appearing
  kKeyboardWillHide,  // the on-screen keyboard starts to disappear
};

// Posts the event's notification on `platform`'s notification centre, on its main thread;
// returns once it has been delivered. Thread: any.
ZELVO_EXPORT void postApplicationEvent(Platform& platform, ApplicationEvent event);

}  // namespace zelvo
