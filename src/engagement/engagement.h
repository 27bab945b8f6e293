#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "zelvo/platform/platform.h"
#include "zelvo/value.h"

namespace zelvo {

// The reader's engagement: the window a touch grants, the credit left of it, the engaged
// seconds counted from that credit, and whether the reader read or wrote since the last ping.
//
// Thread: the main thread, except the resets, which take `monitor` (the tracker's re-entrant
// lock, which the heartbeat holds while it counts) and may be called from any thread.
class Engagement {
 public:
  // `platform` gives the store the window is kept in; both arguments must outlive this.
  Engagement(Platform& platform, std::recursive_mutex& monitor);

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
  Platform& platform_;
  std::recursive_mutex& monitor_;
  uint32_t engagementWindow_ = 0;
  uint32_t remainingEngagedSeconds_ = 0;
  uint32_t engagedSeconds_ = 0;
  uint32_t engagedSecondsSinceLastPing_ = 0;
  bool keyboardVisible_ = false;
  bool userReadSinceLastPing_ = false;
  bool userWroteSinceLastPing_ = false;
};

}  // namespace zelvo
