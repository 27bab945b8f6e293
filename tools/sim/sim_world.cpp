#include "sim/sim_world.h"

#include <cmath>
#include <cstdio>

#include "zelvo/application_events.h"
#include "zelvo/constants.h"
#include "zelvo/testing/tracker_probes.h"

namespace zelvo::sim {
namespace {

// Posted only while a reachability notifier runs; the tracker's monitor never starts one, but
// a change would belong in the trace.
constexpr const char* kReachabilityChangedNotification = "kZVNetworkReachabilityChangedNotification";

std::string headerOf(const HttpRequest& request, const std::string& name) {
  for (const auto& [key, value] : request.headers) {
    if (key == name) return value;
  }
  return "";
}

}  // namespace

SimWorld::SimWorld(const World& world, std::ostream& out, bool events)
    : start_(world.start),
      output_(out, events),
      platform_(std::make_shared<SimPlatform>(clockAt(0), world.tz, world.seed,
                                              [this](const HttpRequest& request) { requestStarted(request); })) {
  SimPlatform& p = *platform_;
  for (const auto& bytes : world.uuids) p.seededUuids().enqueue(bytes);
  p.device().setModelName(world.model);
  p.device().setApplicationIdentifier(world.bundle);
  p.fakeScreen().setMainScreen(world.screen);
  p.reachability().setFlags(world.flags);
  for (const auto& [key, value] : world.store) p.memoryStore().set(key, value);
  p.setConsentRequired(world.consentRequired);
  // Answers are held until settle(); a configuration download runs at once, its main-thread
  // part in settle().
  p.http().setDelivery(testing::ScriptedHttpClient::Delivery::kDeferred);
  p.http().setDefaultAnswer(testing::ScriptedHttpClient::Answer::withStatus(200));
  p.executor().setMode(testing::ManualExecutor::Mode::kInline);
  if (events) observeNotifications();
  // Announcements of the initial flags are platform work, not part of the run.
  p.runLoop().runPendingTasks();
}

SimWorld::~SimWorld() {
  tracker_.reset();
  platform_->notificationCenter().removeObserver(this);
}

double SimWorld::clockAt(Millis at) const { return static_cast<double>(start_ + at) / 1000.0; }

Millis SimWorld::scenarioTime(double clock) const { return std::llround(clock * 1000.0) - start_; }

void SimWorld::advanceTo(Millis at) {
  testing::ManualRunLoop& loop = platform_->runLoop();
  for (;;) {
    const std::optional<double> next = loop.nextFiringTime();
    if (!next || scenarioTime(*next) > at) break;
    now_ = scenarioTime(*next);
    loop.advance(*next - platform_->clock().now());
    settle();
  }
  now_ = at;
  const double step = clockAt(at) - platform_->clock().now();
  loop.advance(step > 0.0 ? step : 0.0);
}

void SimWorld::settle() {
  for (;;) {
    platform_->http().deliverPending();
    const std::size_t started = requestsStarted_;
    platform_->runLoop().runPendingTasks();
    if (requestsStarted_ == started) break;
  }
  flushLogs();
}

ZVTracker& SimWorld::tracker() {
  if (!tracker_) tracker_ = ZVTracker::create(platform_);
  return *tracker_;
}

SimView& SimWorld::view(const std::string& name) { return *namedView(name); }

std::shared_ptr<View> SimWorld::viewObject(const std::optional<std::string>& name) {
  return name ? namedView(*name) : nullptr;
}

std::shared_ptr<SimView> SimWorld::namedView(const std::string& name) {
  std::shared_ptr<SimView>& view = views_[name];
  if (!view) {
    view = std::make_shared<SimView>();
    char address[64];
    std::snprintf(address, sizeof address, "<View: %p>", static_cast<const void*>(view.get()));
    viewNames_.emplace_back(address, "<View: " + name + ">");
  }
  return view;
}

void SimWorld::requestStarted(const HttpRequest& request) {
  ++requestsStarted_;
  // The ping object stores a request's record, with its retry number, just before starting it.
  const int retry = tracker_ ? testing::pingRetriesForTesting(*tracker_, request.url) : 0;
  flushLogs();
  output_.request(now_, request.url, headerOf(request, "User-Agent"), retry);
}

void SimWorld::observeNotifications() {
  NotificationCenter& center = platform_->notificationCenter();
  for (const char* name : {kZVWillSendPingRequestNotification, kZVDidSendPingRequestNotification,
                           kApplicationWillResignActiveNotification, kApplicationWillTerminateNotification,
                           kApplicationDidBecomeActiveNotification, kKeyboardDidShowNotification,
                           kKeyboardWillHideNotification, kReachabilityChangedNotification}) {
    center.addObserver(this, name, [this](const Notification& n) {
      flushLogs();
      // Only the ping notifications carry a URL.
      const Value* url = n.userInfo ? n.userInfo->find(kZVDidSendPingRequestNotificationURLKey) : nullptr;
      output_.event(now_, n.name, url ? url->asString() : nullptr);
    });
  }
}

void SimWorld::flushLogs() {
  testing::CapturingLogSink& log = platform_->log();
  for (std::string line : log.lines()) {
    // The tracker describes views by address, which changes from run to run; the view's name
    // keeps the output the same.
    for (const auto& [address, name] : viewNames_) {
      for (auto at = line.find(address); at != std::string::npos; at = line.find(address, at + name.size())) {
        line.replace(at, address.size(), name);
      }
    }
    output_.log(now_, line);
  }
  log.clear();
}

void runScenario(const Scenario& scenario, std::ostream& out, bool events) {
  SimWorld world(scenario.world, out, events);
  for (const Action& action : scenario.actions) {
    world.advanceTo(action.at);
    action.run(world);
    world.settle();
  }
}

}  // namespace zelvo::sim
