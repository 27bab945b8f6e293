#pragma once

#include <memory>

#include "zelvo/application_events.h"
#include "zelvo/portable/host_platform.h"

namespace zelvo::toolkit {

// A toolkit's input as the library's engagement events. Each input is counted after the
// toolkit has delivered it to the application: the count is posted to the library's loop,
// which runs once the toolkit's current event is done. A burst of events (a touchpad scroll
// sends dozens, and one input passes a toolkit's filters once per widget it reaches) makes
// one engagement event.
//
// A desktop's keyboard is always there: what makes input writing is typing into a text field,
// so the keyboard counts as up for those key presses and down for everything else (the wheel
// over a page with a focused reply box is still reading).
// Thread: the toolkit's thread, which is the library's main thread.
class EngagementInput {
 public:
  explicit EngagementInput(std::shared_ptr<portable::HostPlatform> platform)
      : platform_(std::move(platform)) {}

  void count(bool typing) {
    if (state_->pending[typing]) return;
    state_->pending[typing] = true;
    std::weak_ptr<portable::HostPlatform> platform = platform_;
    platform_->mainRunLoop().post([platform, state = state_, typing] {
      if (auto held = platform.lock()) deliver(*held, *state, typing);
    });
  }

 private:
  // Shared with the tasks on their way, which may run after the toolkit object is gone.
  struct State {
    bool pending[2] = {false, false};  // [typing]: a reading or a typing event is on its way
    bool keyboardUp = false;
  };

  static void deliver(portable::HostPlatform& platform, State& state, bool typing) {
    state.pending[typing] = false;
    if (state.keyboardUp != typing) {
      state.keyboardUp = typing;
      postApplicationEvent(platform, typing ? ApplicationEvent::kKeyboardDidShow : ApplicationEvent::kKeyboardWillHide);
    }
    platform.eventDispatch().sendEvent(Event{EventType::kTouches});
  }

  std::shared_ptr<portable::HostPlatform> platform_;
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace zelvo::toolkit
