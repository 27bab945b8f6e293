#include "zelvo/application_events.h"

namespace zelvo {
namespace {

const char* notificationName(ApplicationEvent event) {
  switch (event) {
    case ApplicationEvent::kWillResignActive: return kApplicationWillResignActiveNotification;
    case ApplicationEvent::kWillTerminate: return kApplicationWillTerminateNotification;
    case ApplicationEvent::kDidBecomeActive: return kApplicationDidBecomeActiveNotification;
    case ApplicationEvent::kKeyboardDidShow: return kKeyboardDidShowNotification;
    case ApplicationEvent::kKeyboardWillHide: return kKeyboardWillHideNotification;
  }
  return kApplicationDidBecomeActiveNotification;
}

}  // namespace

void postApplicationEvent(Platform& platform, ApplicationEvent event) {
  const char* name = notificationName(event);
  NotificationCenter& center = platform.notificationCenter();
  platform.mainRunLoop().runAndWait([&center, name] { center.post(name); });
}

}  // namespace zelvo
