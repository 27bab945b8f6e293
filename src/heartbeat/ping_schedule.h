#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "zelvo/platform/run_loop.h"

namespace zelvo {

// The heartbeat and the ping schedule: the one-second timer on the main run loop, the seconds
// of dwell on the current view, the ping period (doubling while the reader is inactive) and
// the seconds counted towards it, and whether pings are being sent at all.
//
// Thread: the state is guarded by the tracker's monitor, which callers hold where the heartbeat
// and a stop from another thread may meet; the timer itself may be invalidated from any thread.
class PingSchedule {
 public:
  // `loop` must outlive this; `onSecond` runs on it once a second while the heartbeat runs.
  PingSchedule(RunLoop& loop, std::function<void()> onSecond);

  static int32_t getInitialPingInterval();
  std::shared_ptr<Timer> makeHeartbeat();
  void resetTimer();
  // Starts the heartbeat when none runs; false when one already did.
  bool startHeartbeat();
  // Stops the heartbeat for good (the tracker goes away).
  void invalidateHeartbeat();
  // Forgets `timer` if it is still the heartbeat (a stop invalidated it).
  void forgetHeartbeat(const std::shared_ptr<Timer>& timer);
  const std::shared_ptr<Timer>& dwellTimer() const { return dwellTimer_; }

  // A start: the period and the period to return to go back to the initial one.
  void start();
  // The period to return to on the next view or return to the foreground.
  void setInterval(uint32_t seconds) { initialInterval_ = seconds; }
  // A new view: pings are sent, the reader is active, dwell and period start again.
  void beginView();
  // The return to the foreground ends the doubled period; the seconds counted are kept.
  void returnToInitialInterval() { interval_ = initialInterval_; }
  // A stop for good: the counters and the period go to zero.
  void stop();

  // One heartbeat second. False when nothing is counted (not sending, or no heartbeat).
  bool countSecond();
  // Equality on purpose: a period that shrank below the seconds already counted (after a
  // return to the foreground) waits for the next view instead of pinging at once.
  bool isPingDue() const { return lastInterval_ == interval_; }
  void startNextPeriod() { lastInterval_ = 0; }
  // After a ping: the period of an inactive reader doubles, up to 240 seconds.
  void backOffIfInactive();

  void active(bool isActive) { active_ = isActive; }
  bool active() const { return active_; }
  bool sendingPings() const { return sendingPings_; }
  uint32_t dwellTime() const { return dwellTime_; }
  uint32_t interval() const { return interval_; }
  uint32_t lastInterval() const { return lastInterval_; }
  uint32_t initialInterval() const { return initialInterval_; }

  // Puts the schedule in a state the public calls reach only slowly.
  void setIntervalForTesting(uint32_t seconds) { interval_ = seconds; }
  void setLastIntervalForTesting(uint32_t seconds) { lastInterval_ = seconds; }

 private:
  RunLoop& loop_;
  std::function<void()> onSecond_;
  std::shared_ptr<Timer> dwellTimer_;
  uint32_t dwellTime_ = 0;
  uint32_t interval_ = 0;
  uint32_t lastInterval_ = 0;
  uint32_t initialInterval_ = 0;
  bool active_ = true;
  bool sendingPings_ = false;
};

}  // namespace zelvo
