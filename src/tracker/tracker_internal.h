#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "common/log_gate.h"
#include "engagement/engagement.h"
#include "engagement/measurement.h"
#include "ping/zv_ping.h"
#include "zelvo/zelvo_config.h"
#include "zelvo/zv_reachability.h"
#include "zelvo/zv_tracker.h"

namespace zelvo {

// The tracker's state and its private operations. The operations are defined in the
// subsystem folders: the heartbeat, lifecycle and view tracking in tracker/, engagement and
// measurement in engagement/, tokens, returning users and the site visit in identity/.
//
// Locks: `monitor` is the tracker's re-entrant lock. The heartbeat holds it while it counts
// and pings, and the engagement resets and the stop take it. It is never held while waiting
// for the main thread. The class-wide lock of sharedTracker() is taken before it, never
// after.
struct ZVTracker::Internal {
  Internal(ZVTracker& owner, std::shared_ptr<Platform> platform);

  ZVTracker& self;
  std::shared_ptr<Platform> platform;
  // The gate of every log line of this tracker's world.
  std::shared_ptr<LogGate> gate;
  std::recursive_mutex monitor;

  // The components, each owning its state.
  Engagement engagement;
  Measurement measurement;

  // Private state.
  std::shared_ptr<Timer> dwellTimer;
  uint32_t dwellTime = 0;
  std::shared_ptr<ZVPing> ping;
  uint32_t interval = 0;
  uint32_t lastInterval = 0;
  uint32_t initialInterval = 0;
  std::optional<std::string> userReturnFrequencyHex;
  std::optional<std::string> subscriptionState;
  bool active = false;
  std::shared_ptr<ZVReachability> reachability;
  std::optional<Location> location;
  // Kept for interface compatibility; the library never sets or reads it.
  std::shared_ptr<ZVTracker> videoTracker;
  bool sendingPings = false;
  std::optional<std::string> lastId;

  // Properties.
  bool firstPing = false;
  bool usePong = false;
  uint32_t uid = 0;
  uint64_t status = 0;
  std::optional<std::string> appid;
  std::optional<std::string> suffix;
  std::shared_ptr<View> view;
  std::optional<std::string> viewId;
  std::optional<std::string> title;
  StringList sections;
  StringList authors;
  StringList zones;
  std::optional<std::string> userToken;
  std::optional<std::string> sessionToken;
  std::optional<std::string> previousSessionToken;
  std::optional<std::string> appReferrer;
  std::optional<std::string> domain;
  std::optional<std::string> subDomain;
  std::optional<std::string> userAgent;
  std::optional<Value> extraParams;
  std::optional<Value> idSync;
  double initializationTime = 0.0;

  // The configuration this tracker reads (the process-wide one for the shared tracker).
  std::shared_ptr<ZelvoConfig> configuration();

  // Construction (tracker/).
  void init();

  // Heartbeat and scheduling (tracker/heartbeat.cpp).
  void dwellTick();
  void tick();
  void decayPing();
  // The 38 values of a ping, read in the order the protocol fixes (the measurements have
  // side effects on the platform). A decay ping is always first and has no last path.
  ZVPing::TrackArguments gatherPingArguments(bool isNew, bool fromDecay);
  static int32_t getInitialPingInterval();
  void resetTimer();
  std::shared_ptr<Timer> makeHeartbeat();

  // Lifecycle (tracker/lifecycle.cpp).
  void subscribeToNotifications();
  void stageStopTracker();
  void stopTrackerHelper(bool pause);
  void applicationDidBecomeActive();
  void resumeTracker();

  // Tokens (identity/tracker_tokens.cpp).
  std::string generateUUID();
  std::string generateUserToken();
  std::string generateSessionToken();
  std::string generateSiteVisitUid();
  std::string createSessionToken();

  // New and returning users (identity/returning_users.cpp).
  void remembeUserVisit();
  bool isUserNew();
  void updateUserReturnFrequency();

  // Site visit (identity/site_visit.cpp).
  void storeSiteVisitId(const std::optional<std::string>& uid);
  std::optional<std::string> getSiteVisitId() const;
  void storeSiteVisitDepth(int64_t depth);
  int64_t getSiteVisitDepth() const;
  void storeSiteVisitReferrer(const std::optional<std::string>& referrer);
  std::optional<std::string> getSiteVisitReferrer() const;
  void storeSiteVisitRefreshTime(double date);
  std::optional<double> getSiteVisitRefreshTime() const;
  bool hasSiteVisitExpired() const;
  void trackSiteVisit(const std::optional<std::string>& referrer);

 private:
  std::shared_ptr<ZelvoConfig> configuration_;
  std::mutex configurationMutex_;
};

// The user-agent text for a device model.
std::string userAgentForModel(const std::string& model);

}  // namespace zelvo
