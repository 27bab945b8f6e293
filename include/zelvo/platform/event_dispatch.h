#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>

#include "zelvo/export.h"

namespace zelvo {

// The kinds of events an application receives.
enum class EventType : int {
  kTouches = 0,
  kMotion = 1,
  kRemoteControl = 2,
  kPresses = 3,
};

// A set of event types, one bit per type (types past 31 share the last bit).
using EventTypeSet = uint32_t;
inline constexpr EventTypeSet kAllEventTypes = ~EventTypeSet{0};
constexpr EventTypeSet eventTypeBit(EventType type) {
  const auto index = static_cast<uint32_t>(type);
  return EventTypeSet{1} << (index < 31 ? index : 31);
}

struct ZELVO_EXPORT Event {
  EventType type = EventType::kTouches;
  int subtype = 0;
  double timestamp = 0.0;
};

// The application's event dispatch: every input event of the host goes through sendEvent(),
// which hands it to the application's own handler first, unchanged, and then to the
// interception hook, if one is installed. A host routes its input here (see the README).
// Thread: sendEvent() from any thread (the application handler and the hook run on the calling
// thread; the library carries what the hook tells it onto the main thread). Set the handler and
// the hook before the first event.
class ZELVO_EXPORT EventDispatch {
 public:
  using Hook = void (*)(void* context, const Event& event);

  // The application's own handling of an event.
  void setApplicationHandler(std::function<void(const Event&)> handler);
  // Installs the interception hook that sees, after the application did, every event whose
  // type is in `types`. The dispatch filters by type itself, so the events the hook has no use
  // for cost the host no call.
  void setHook(Hook hook, void* context, EventTypeSet types = kAllEventTypes);
  // Guards a once-per-application installation of the hook.
  std::once_flag& hookInstallation() { return hookInstallation_; }

  void sendEvent(const Event& event) {
    if (applicationHandler_) applicationHandler_(event);
    if ((hookTypes_.load(std::memory_order_relaxed) & eventTypeBit(event.type)) == 0) return;
    if (Hook hook = hook_.load(std::memory_order_acquire)) {
      hook(hookContext_.load(std::memory_order_relaxed), event);
    }
  }

 private:
  std::function<void(const Event&)> applicationHandler_;
  std::atomic<void*> hookContext_{nullptr};
  std::atomic<EventTypeSet> hookTypes_{0};
  std::atomic<Hook> hook_{nullptr};
  std::once_flag hookInstallation_;
};

}  // namespace zelvo
