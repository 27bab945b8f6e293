#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>

#include "common/log_gate.h"
#include "engagement/engagement.h"
#include "engagement/measurement.h"
#include "heartbeat/ping_schedule.h"
#include "identity/identity.h"
#include "identity/site_visit.h"
#include "ping/page_properties.h"
#include "ping/ping_status.h"
#include "ping/zv_ping.h"
#include "privacy/collection_gate.h"
#include "zelvo/zelvo_config.h"
#include "zelvo/zv_reachability.h"
#include "zelvo/zv_tracker.h"

namespace zelvo {

// The tracker's private part: the components, each owning its state in its own folder, the
// few things that belong to the whole, and the page properties. The operations here
// span components (the heartbeat's second, the ping's values, the lifecycle) and ask each in
// turn; the public calls are in tracker/ too.
//
// Locks: `monitor` is the tracker's re-entrant lock. The heartbeat holds it while it counts
// and pings, and trackView() and the stop take it around what they change; the components
// take no lock of their own. It is never held while waiting for the main thread. The
// class-wide lock of sharedTracker() is taken before it, never after.
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

  // The counters of all starts, the ping sender of the current start (made with the tracker,
  // so that it also holds the endpoint choice before the first start), and the network monitor.
  std::shared_ptr<PingStatus> pingStatus;
  std::shared_ptr<ZVPing> ping;
  std::shared_ptr<ZVReachability> reachability;

  // What the host set, sent with the pings.
  PageProperties page;
  bool firstPing = false;
  uint32_t uid = 0;
  uint64_t status = 0;
  std::shared_ptr<View> view;
  // The identifier of the view the last full ping was about.
  std::optional<std::string> lastId;
  double initializationTime = 0.0;

  // The pair every plain setter and getter goes through: `field` of the page properties or of
  // this part, written or read on the main thread (see tracker/main_thread.h).
  template <typename Part, typename T>
  void set(T Part::*field, std::type_identity_t<T> value);
  template <typename Part, typename T>
  T get(T Part::*field);

  // The configuration this tracker reads (the process-wide one for the shared tracker).
  std::shared_ptr<ZelvoConfig> configuration();

  // Construction (tracker/zv_tracker.cpp).
  void init();

  // The heartbeat's second and the pings (tracker/heartbeat.cpp).
  void dwellTick();
  void tick();
  // One full ping outside the heartbeat's period. No public call sends one: it stays as the
  // tracker's internal way to report between periods, and its tests drive it from here.
  void decayPing();
  // The 38 values of a ping, read in the order the protocol fixes (the measurements have
  // side effects on the platform). A decay ping is always first and has no last path.
  // Written over `pingArguments`, valid until the next ping.
  const ZVPing::TrackArguments& gatherPingArguments(bool isNew, bool fromDecay);
  // The values of the last ping. Kept and overwritten rather than made anew: most of their text
  // (the page's, the tokens) is the same from one ping to the next and reuses its storage.
  ZVPing::TrackArguments pingArguments;
  // The services a ping sender uses: the gate's HTTP client, so privacy holds at one seam.
  ZVPing::Services pingServices() const {
    return {platform, platform->httpClient(), platform->clock(), platform->mainRunLoop(), platform->notificationCenter()};
  }

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
  template <typename Part>
  Part& part();

  std::shared_ptr<ZelvoConfig> configuration_;
  std::mutex configurationMutex_;
};

// The user-agent text for a device model.
std::string userAgentForModel(const std::string& model);

}  // namespace zelvo
