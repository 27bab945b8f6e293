#pragma once

#include <atomic>
#include <functional>
#include <mutex>

namespace zelvo {

// The kinds of events an application receives.
enum class EventType : int {
  kTouches = 0,
  kMotion = 1,
  kRemoteControl = 2,
  kPresses = 3,
};

struct Event {
  EventType type = EventType::kTouches;
  int subtype = 0;
  double timestamp = 0.0;
};

// The application's event dispatch: every input event of the host goes through sendEvent(),
// which hands it to the application's own handler first, unchanged, and then to the
// interception hook, if one is installed. A host routes its input here (see the README).
// Thread: everything on the main thread; set the application handler before the first event.
class EventDispatch {
 public:
  using Hook = void (*)(void* context, const Event& event);

  // The application's own handling of an event.
  void setApplicationHandler(std::function<void(const Event&)> handler);
  // Installs the interception hook that sees every event after the application did.
  void setHook(Hook hook, void* context);
  // Guards a once-per-application installation of the hook.
  std::once_flag& hookInstallation() { return hookInstallation_; }

  void sendEvent(const Event& event) {
    if (applicationHandler_) applicationHandler_(event);
    if (Hook hook = hook_.load(std::memory_order_acquire)) {
      hook(hookContext_.load(std::memory_order_relaxed), event);
    }
  }

 private:
  std::function<void(const Event&)> applicationHandler_;
  std::atomic<void*> hookContext_{nullptr};
  std::atomic<Hook> hook_{nullptr};
  std::once_flag hookInstallation_;
};

}  // namespace zelvo
