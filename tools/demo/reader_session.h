#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "collector/collector_server.h"
#include "demo/console.h"
#include "demo/demo_platform.h"
#include "zelvo/zv_tracker.h"

namespace zelvo::demo {

// What the session did, for the checks made against what the collector received.
struct SessionOutcome {
  bool completed = false;
  std::size_t pingsSent = 0;       // will-send notifications
  std::size_t overCapacityPing = 0;  // the ping the collector answered with 503 (counted from 1)
  std::vector<std::string> viewsWithPings;  // paths whose first ping should have gone out
  std::string lockedOutView;                // tracked during the lock-out: no ping
};

// A bundled reader's session of about four and a half minutes of the library's time: a front
// page and an article read with the wheel and the keys, a comment typed, a long read left
// untouched (inactive), a switch to another window, an over-capacity answer and a view during
// the lock-out that follows. Every call into the library runs on the platform's main thread.
class ReaderSession {
 public:
  ReaderSession(std::shared_ptr<DemoPlatform> platform, collector::CollectorServer& collector, Console& console);
  ~ReaderSession();
  ReaderSession(const ReaderSession&) = delete;
  ReaderSession& operator=(const ReaderSession&) = delete;

  // Runs the session to its end (real time: its length divided by the time factor).
  SessionOutcome run();

 private:
  struct Step {
    double at;  // seconds of the library's time since the session began
    std::string narration;
    std::function<void()> action;
  };

  std::vector<Step> script();
  void onMain(std::function<void()> task);
  // Input the host counts as engagement: wheel notches, key presses, clicks.
  void input(int events);
  void scrollTo(const std::shared_ptr<SimpleScrollView>& view, double offset);
  // Answers the next ping with 503 and tracks `path`, once every ping sent so far has arrived.
  bool trackViewAnsweredOverCapacity(const std::string& path, const std::string& title);
  bool waitForPingsToArrive();

  std::shared_ptr<DemoPlatform> platform_;
  collector::CollectorServer& collector_;
  Console& console_;
  std::shared_ptr<ZVTracker> tracker_;
  std::atomic<std::size_t> pingsSent_{0};
  SessionOutcome outcome_;
};

}  // namespace zelvo::demo
