// The C API's tracker: making one, starting it, the views and the events of the application.
#include <memory>

#include "capi/arguments.h"
#include "capi/handles.h"
#include "zelvo/application_events.h"

using zelvo::capi::act;
using zelvo::capi::guarded;

namespace {

std::optional<zelvo::ApplicationEvent> applicationEvent(std::underlying_type_t<zelvo_app_event> event) {
  switch (event) {
    case ZELVO_APP_WILL_RESIGN_ACTIVE: return zelvo::ApplicationEvent::kWillResignActive;
    case ZELVO_APP_WILL_TERMINATE: return zelvo::ApplicationEvent::kWillTerminate;
    case ZELVO_APP_DID_BECOME_ACTIVE: return zelvo::ApplicationEvent::kDidBecomeActive;
    case ZELVO_KEYBOARD_DID_SHOW: return zelvo::ApplicationEvent::kKeyboardDidShow;
    case ZELVO_KEYBOARD_WILL_HIDE: return zelvo::ApplicationEvent::kKeyboardWillHide;
  }
  return std::nullopt;
}

std::optional<zelvo::EventType> inputEvent(std::underlying_type_t<zelvo_input_event> event) {
  switch (event) {
    case ZELVO_INPUT_TOUCHES: return zelvo::EventType::kTouches;
    case ZELVO_INPUT_MOTION: return zelvo::EventType::kMotion;
    case ZELVO_INPUT_REMOTE_CONTROL: return zelvo::EventType::kRemoteControl;
    case ZELVO_INPUT_PRESSES: return zelvo::EventType::kPresses;
  }
  return std::nullopt;
}

}  // namespace

extern "C" {

zelvo_error zelvo_tracker_shared(zelvo_tracker** out) {
  return guarded([&] {
    if (!out) return ZELVO_ERROR_NULL_ARGUMENT;
    auto tracker = zelvo::ZVTracker::sharedTracker();
    *out = new zelvo_tracker{std::move(tracker), zelvo::installedPlatform()};
    return ZELVO_OK;
  });
}

zelvo_error zelvo_tracker_new(zelvo_platform* platform, zelvo_tracker** out) {
  return guarded([&] {
    if (!platform || !out) return ZELVO_ERROR_NULL_ARGUMENT;
    *out = new zelvo_tracker{zelvo::ZVTracker::create(platform->platform), platform->platform};
    return ZELVO_OK;
  });
}

void zelvo_tracker_free(zelvo_tracker* tracker) { delete tracker; }

zelvo_error zelvo_tracker_start(zelvo_tracker* tracker, uint32_t account_id, const char* app_id) {
  return guarded([&] {
    if (!tracker) return ZELVO_ERROR_NULL_ARGUMENT;
    std::optional<std::string> appid;
    if (const zelvo_error error = zelvo::capi::readText(app_id, appid); error != ZELVO_OK) return error;
    if (appid) {
      tracker->tracker->startTrackerWithAccountID(account_id, std::move(appid));
    } else {
      tracker->tracker->startTrackerWithAccountID(account_id);
    }
    return ZELVO_OK;
  });
}

zelvo_error zelvo_tracker_track_view(zelvo_tracker* tracker, zelvo_view* view, const char* view_id,
                                     const char* title) {
  return guarded([&] {
    if (!tracker || !view || !view_id) return ZELVO_ERROR_NULL_ARGUMENT;
    std::string id;
    std::optional<std::string> heading;
    if (const zelvo_error error = zelvo::capi::readRequiredText(view_id, id); error != ZELVO_OK) return error;
    if (const zelvo_error error = zelvo::capi::readText(title, heading); error != ZELVO_OK) return error;
    tracker->tracker->trackView(view->view, std::move(id), std::move(heading));
    return ZELVO_OK;
  });
}

zelvo_error zelvo_tracker_stop(zelvo_tracker* tracker) {
  return act(tracker, [](zelvo_tracker& t) { t.tracker->stopTracker(); });
}

zelvo_error zelvo_tracker_set_interval(zelvo_tracker* tracker, uint32_t seconds) {
  return act(tracker, [&](zelvo_tracker& t) { t.tracker->setInterval(seconds); });
}

zelvo_error zelvo_tracker_set_active(zelvo_tracker* tracker, int active) {
  return act(tracker, [&](zelvo_tracker& t) { t.tracker->active(active != 0); });
}

zelvo_error zelvo_tracker_set_debug_mode(zelvo_tracker* tracker, int debug_mode) {
  return act(tracker, [&](zelvo_tracker& t) { t.tracker->setDebugMode(debug_mode != 0); });
}

zelvo_error zelvo_tracker_post_app_event(zelvo_tracker* tracker, zelvo_app_event event) {
  return guarded([&] {
    if (!tracker) return ZELVO_ERROR_NULL_ARGUMENT;
    const auto known = applicationEvent(zelvo::capi::fromC(event));
    if (!known) return ZELVO_ERROR_INVALID_ARGUMENT;
    zelvo::postApplicationEvent(*tracker->platform, *known);
    return ZELVO_OK;
  });
}

zelvo_error zelvo_tracker_send_input_event(zelvo_tracker* tracker, zelvo_input_event event) {
  return guarded([&] {
    if (!tracker) return ZELVO_ERROR_NULL_ARGUMENT;
    const auto type = inputEvent(zelvo::capi::fromC(event));
    if (!type) return ZELVO_ERROR_INVALID_ARGUMENT;
    tracker->platform->eventDispatch().sendEvent(zelvo::Event{*type});
    return ZELVO_OK;
  });
}

zelvo_error zelvo_tracker_user_engaged(zelvo_tracker* tracker, int typing) {
  return act(tracker, [&](zelvo_tracker& t) { t.tracker->userEngaged(typing != 0); });
}

}  // extern "C"
