#pragma once

#include <cstdint>
#include <memory>

#include "zelvo/platform/key_value_store.h"
#include "zelvo/value.h"

namespace zelvo {

// The reader's engagement: the window a touch grants, the credit left of it, the engaged
// seconds counted from that credit, and whether the reader read or wrote since the last ping.
//
// Thread: one at a time; the tracker calls it on the main thread or under its own lock.
class Engagement {
 public:
  // `store` (may be null: nothing is kept) holds the window across launches; it must outlive
  // this.
  explicit Engagement(KeyValueStore* store) : store_(store) {}

  // The window stored by an earlier run, or the built-in one.
  void loadEngagementWindow();
  // The window from the configuration dictionary, when it holds a usable number; stored too.
  void updateEngagementWindow(const std::shared_ptr<const Value>& config);

  // The keyboard counts as up from the end of its appearing to the start of its disappearing.
  void keyboardDidShow() { keyboardVisible_ = true; }
  void keyboardWillHide() { keyboardVisible_ = false; }
  // A touch: reading, or writing while the keyboard is up.
  void registeredUserEngagementEvent() { userEngaged(keyboardVisible_); }
  void userEngaged(bool typing);
  // One heartbeat second: spends a second of credit, if any is left, as engaged time.
  void countEngagedSecond();

  void resetPerPingEngagementMetrics();
  void resetEngagementMetrics();

  uint32_t engagementWindow() const { return engagementWindow_; }
  uint32_t remainingEngagedSeconds() const { return remainingEngagedSeconds_; }
  uint32_t engagedSeconds() const { return engagedSeconds_; }
  uint32_t engagedSecondsSinceLastPing() const { return engagedSecondsSinceLastPing_; }
  bool userReadSinceLastPing() const { return userReadSinceLastPing_; }
  bool userWroteSinceLastPing() const { return userWroteSinceLastPing_; }

 private:
  KeyValueStore* const store_;
  uint32_t engagementWindow_ = 0;
  uint32_t remainingEngagedSeconds_ = 0;
  uint32_t engagedSeconds_ = 0;
  uint32_t engagedSecondsSinceLastPing_ = 0;
  bool keyboardVisible_ = false;
  bool userReadSinceLastPing_ = false;
  bool userWroteSinceLastPing_ = false;
};

}  // namespace zelvo
