#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "common/log_gate.h"
#include "engagement/engagement.h"
#include "engagement/measurement.h"
#include "heartbeat/ping_schedule.h"
#include "identity/identity.h"
#include "identity/site_visit.h"
#include "ping/ping_status.h"
#include "ping/zv_ping.h"
#include "privacy/collection_gate.h"
#include "zelvo/zelvo_config.h"
#include "zelvo/zv_reachability.h"
#include "zelvo/zv_tracker.h"

namespace zelvo {

// The tracker's private part: the components, each owning its state in its own folder, the
// few things that belong to the whole, and the descriptive properties. The operations here
// span components (the heartbeat's second, the ping's values, the lifecycle) and ask each in
// turn; the public calls are in tracker/ too.
//
// Locks: `monitor` is the tracker's re-entrant lock. The heartbeat holds it while it counts
// and pings, and the engagement resets and the stop take it. It is never held while waiting
// for the main thread. The class-wide lock of sharedTracker() is taken before it, never
// after.
struct ZVTracker::Internal {
  Internal(ZVTracker& owner, std::shared_ptr<Platform> platform);

  ZVTracker& self;
  // The host's collection switch, between the tracker and the platform it was made on:
  // `platform` is this gate, so every component's store writes and requests pass it.
  std::shared_ptr<CollectionGate> collection;
  std::shared_ptr<Platform> platform;
  // The gate of every log line of this tracker's world.
  std::shared_ptr<LogGate> gate;
  std::recursive_mutex monitor;

  // The components.
  PingSchedule schedule;
  Engagement engagement;
  Measurement measurement;
  Identity identity;
  SiteVisit siteVisit;

  // The ping sender of the current start, the counters of all starts, and the network monitor.
  std::shared_ptr<ZVPing> ping;
  std::shared_ptr<PingStatus> pingStatus;
  std::shared_ptr<ZVReachability> reachability;

  // Descriptive properties, sent with the pings.
  bool firstPing = false;
  bool usePong = false;
  uint32_t uid = 0;
  uint64_t status = 0;
  std::optional<std::string> appid;
  std::optional<std::string> suffix;
  std::shared_ptr<View> view;
  std::optional<std::string> viewId;
  // The identifier of the view the last full ping was about.
  std::optional<std::string> lastId;
  std::optional<std::string> title;
  StringList sections;
  StringList authors;
  StringList zones;
  std::optional<std::string> appReferrer;
  std::optional<std::string> domain;
  std::optional<std::string> subDomain;
  std::optional<std::string> userAgent;
  std::optional<std::string> subscriptionState;
  std::optional<Location> location;
  std::optional<Value> extraParams;
  std::optional<Value> idSync;
  double initializationTime = 0.0;

  // The configuration this tracker reads (the process-wide one for the shared tracker).
  std::shared_ptr<ZelvoConfig> configuration();

  // Construction (tracker/zv_tracker.cpp).
  void init();

  // The heartbeat's second and the pings (tracker/heartbeat.cpp).
  void dwellTick();
  void tick();
  void decayPing();
  // The 38 values of a ping, read in the order the protocol fixes (the measurements have
  // side effects on the platform). A decay ping is always first and has no last path.
  ZVPing::TrackArguments gatherPingArguments(bool isNew, bool fromDecay);

  // The reader agreed: makes what was held back while consent was awaited (tracker/consent.cpp).
  void beginCollectingWithConsent();
  // The view on screen was tracked while consent was awaited, so its site visit is held back.
  bool viewAwaitedConsent = false;

  // Lifecycle (tracker/lifecycle.cpp).
  void subscribeToNotifications();
  void stageStopTracker();
  void stopTrackerHelper(bool pause);
  void applicationDidBecomeActive();
  void resumeTracker();

 private:
  std::shared_ptr<ZelvoConfig> configuration_;
  std::mutex configurationMutex_;
};

// The user-agent text for a device model.
std::string userAgentForModel(const std::string& model);

}  // namespace zelvo
