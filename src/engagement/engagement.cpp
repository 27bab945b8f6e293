#include "tracker/tracker_internal.h"
#include "zelvo/constants.h"

namespace zelvo {

void ZVTracker::registeredUserEngagementEvent() { userEngaged(internal_->keyboardVisible); }

void ZVTracker::userEngaged(bool typing) {
  Internal& in = *internal_;
  // The credit is replaced, never added to: many touches in one second give one window.
  in.remainingEngagedSeconds = in.engagementWindow;
  if (typing) {
    in.userWroteSinceLastPing = true;
  } else {
    in.userReadSinceLastPing = true;
  }
}

// The keyboard counts as up from the end of its appearing to the start of its disappearing.
void ZVTracker::Internal::keyboardDidShow() { keyboardVisible = true; }
void ZVTracker::Internal::keyboardWillHide() { keyboardVisible = false; }

void ZVTracker::Internal::updateEngagementWindow() {
  std::shared_ptr<const Value> config = configuration()->getConfig();
  if (!config) return;
  const Value* window = config->find(kZelvoConfigEngagementWindowKey);
  if (!window || !window->isNumber()) return;
  const uint32_t seconds = window->unsignedIntValue();
  if (seconds == 0) return;
  engagementWindow = seconds;
  // The number is kept as it came (7.9 stays 7.9); the next launch reads its whole part.
  if (KeyValueStore* store = platform->store()) {
    store->set(kZVEngagementWindowKey, *window);
    store->synchronize();
  }
}

void ZVTracker::Internal::resetPerPingEngagementMetrics() {
  std::lock_guard lock(monitor);
  userWroteSinceLastPing = false;
  userReadSinceLastPing = false;
  // The remaining credit carries over into the next period.
  engagedSecondsSinceLastPing = 0;
}

void ZVTracker::Internal::resetEngagementMetrics() {
  std::lock_guard lock(monitor);
  resetPerPingEngagementMetrics();
  engagedSeconds = 0;
  remainingEngagedSeconds = 0;
}

}  // namespace zelvo
