#pragma once

#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "sim/output.h"
#include "sim/scenario.h"
#include "sim/sim_platform.h"
#include "sim/sim_view.h"
#include "zelvo/zv_tracker.h"

namespace zelvo::sim {

// One run of a scenario: the testing platform as the world line describes it, the shared
// tracker (made when an action first needs it), the named views and the output.
//
// Time moves only through advanceTo(), one heartbeat firing at a time, so that every request
// is answered at the instant it was started: the scripted client holds each answer, and
// settle() delivers it right after the action or firing that started the request, before
// anything else happens. Main thread only (the thread that made the world).
class SimWorld {
 public:
  SimWorld(const World& world, std::ostream& out, bool events);
  ~SimWorld();
  SimWorld(const SimWorld&) = delete;
  SimWorld& operator=(const SimWorld&) = delete;

  // Runs every firing due at or before `at`, in time order, each followed by settle(); then
  // moves the clock to `at`.
  void advanceTo(Millis at);
  // Delivers the answers of the requests started so far and runs the main thread's posted
  // work, until neither starts anything more.
  void settle();

  // The shared tracker of the scenario, made now if it does not exist yet.
  ZVTracker& tracker();
  // The application exits and starts again: the tracker goes, and the next action that needs
  // one makes a new one on the same platform (its store, clock, network and views kept).
  void relaunch() { tracker_.reset(); }
  // The view of that name, made as a plain 0 x 0 view on first use.
  SimView& view(const std::string& name);
  // The view to hand to trackView(): none for a nil name.
  std::shared_ptr<View> viewObject(const std::optional<std::string>& name);
  SimPlatform& platform() { return *platform_; }

 private:
  double clockAt(Millis at) const;
  Millis scenarioTime(double clock) const;
  std::shared_ptr<SimView> namedView(const std::string& name);
  void requestStarted(const HttpRequest& request);
  void observeNotifications();
  // Writes the log lines captured so far, so that they come out in order with the rest.
  void flushLogs();

  Millis start_;
  Millis now_ = 0;
  std::size_t requestsStarted_ = 0;
  OutputWriter output_;
  std::shared_ptr<SimPlatform> platform_;
  std::map<std::string, std::shared_ptr<SimView>> views_;
  // How the tracker's log lines describe each view, and the name that replaces it.
  std::vector<std::pair<std::string, std::string>> viewNames_;
  // Destroyed before the views and the platform it uses.
  std::shared_ptr<ZVTracker> tracker_;
};

// Runs a parsed scenario and writes its output to `out`.
void runScenario(const Scenario& scenario, std::ostream& out, bool events);

}  // namespace zelvo::sim
