#include "tracker/tracker_internal.h"
#include "zelvo/application_events.h"

namespace zelvo {

void ZVTracker::Internal::subscribeToNotifications() {
  NotificationCenter& center = platform->notificationCenter();
  // The pause registrations are added again on every call and pile up; the later deliveries
  // find no heartbeat and do nothing. Become-active is kept single.
  center.addObserver(&self, kApplicationWillResignActiveNotification, [this](const Notification&) { stageStopTracker(); });
  center.addObserver(&self, kApplicationWillTerminateNotification, [this](const Notification&) { stageStopTracker(); });
  center.removeObserver(&self, kApplicationDidBecomeActiveNotification);
  center.addObserver(&self, kApplicationDidBecomeActiveNotification,
                     [this](const Notification&) { applicationDidBecomeActive(); });
}

void ZVTracker::Internal::stageStopTracker() {
  {
    std::lock_guard lock(monitor);
    if (!schedule.dwellTimer()) return;
  }
  gate->standard([] {
    return std::string(
        "[ZV]: Got UIApplicationWillResignActiveNotification or UIApplicationWillTerminateNotification. Will stopTracker.");
  });
  stopTrackerHelper(true);
}

void ZVTracker::Internal::stopTrackerHelper(bool pause) {
  std::shared_ptr<Timer> timer;
  {
    std::lock_guard lock(monitor);
    timer = schedule.dwellTimer();
  }
  if (timer) {
    gate->standard([] { return std::string("[ZV]: stopTracker."); });
    timer->invalidate();
    RunLoop& loop = platform->mainRunLoop();
    if (!loop.isMainThread()) {
      gate->standard([] {
        return std::string("[ZV]: stopTracker called in a thread. Invalidating tracker on main thread.");
      });
      // The heartbeat belongs to the main run loop: invalidate it there too, and wait. The
      // monitor is not held here, so a heartbeat in progress can finish.
      loop.runAndWait([timer] { timer->invalidate(); });
    }
  }
  std::lock_guard lock(monitor);
  schedule.forgetHeartbeat(timer);
  if (pause) {
    // The first ping after the resume is marked first; everything else keeps its value.
    firstPing = true;
  } else {
    status = 1;
    schedule.stop();
    engagement.resetEngagementMetrics();
  }
}

void ZVTracker::stopTracker() {
  Internal& in = *internal_;
  {
    std::lock_guard lock(in.monitor);
    in.status = 0;
  }
  in.stopTrackerHelper(false);
  std::lock_guard lock(in.monitor);
  // So that the next trackView() is never taken for a repeat.
  in.view.reset();
}

void ZVTracker::Internal::applicationDidBecomeActive() {
  // The doubled period of an inactive reader ends here; the seconds counted are kept.
  schedule.returnToInitialInterval();
  identity.updateUserReturnFrequency();
  engagement.updateEngagementWindow(configuration()->getConfig());
  resumeTracker();
  identity.remembeUserVisit();
}

void ZVTracker::Internal::resumeTracker() {
  if (!schedule.sendingPings()) return;
  if (!page.appid || status == 1) return;
  if (!view) return;
  // The short form: a new ping object, the period back to its start value and, since the
  // pause left none, a new heartbeat. The next ping follows from the seconds already counted.
  self.startTrackerWithAccountID(uid);
}

}  // namespace zelvo
