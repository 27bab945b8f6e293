#include "zelvo/zv_capture_events.h"

#include "engagement/capture_events.h"

namespace zelvo {

void ZVCaptureEvents::initializeEventsCapturing(Platform& platform) {
  // Only touches count: the dispatch does not even call the hook for the other kinds.
  platform.eventDispatch().setHook(&ZVCaptureEvents::swizzeledSendEvent, &platform.notificationCenter(),
                                   eventTypeBit(EventType::kTouches));
}

void ZVCaptureEvents::swizzeledSendEvent(void* notificationCenter, const Event& event) {
  // The dispatch has already handed the event to the application; only touches count, and
  // there is no filter by phase: a finger going down, each move and the lift all count.
  if (event.type != EventType::kTouches) return;
  static constexpr std::string_view kName = kTouchEventNotification;
  static_cast<NotificationCenter*>(notificationCenter)->post(kName);
}

}  // namespace zelvo
