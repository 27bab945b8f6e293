#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "zelvo/platform/platform.h"
#include "zelvo/platform/reachability_source.h"
#include "zelvo/export.h"

namespace zelvo {

// Tells whether the internet (or the link-local network, or a host) can be reached now, by
// reducing the platform's reachability flags of one target to a network status. It can also
// watch the target: while the notifier runs, every change the platform reports is posted as
// "kZVNetworkReachabilityChangedNotification" on the platform's notification centre, on the
// main thread, with the monitor as object and no user info; observers ask the monitor for
// currentReachabilityStatus().
//
// The platform must outlive every monitor made on it. The monitor owns its target.
// Thread: the status queries may be called from any thread; startNotifier, stopNotifier and
// destruction belong on the main thread. The monitor has no lock: its fields are set once.
class ZELVO_EXPORT ZVReachability {
 public:
  // 0: not reachable (also when the flags cannot be read); 1: reachable, by any route. A
  // cellular route counts as reachable like any other; no third value exists.
  using NetworkStatus = int32_t;
  static constexpr NetworkStatus kStatusNotReachable = 0;
  static constexpr NetworkStatus kStatusReachable = 1;

  // Each answers a new monitor, or nullptr when the platform refuses the target. The caller
  // shares ownership of the result.
  static std::shared_ptr<ZVReachability> reachabilityWithHostName(Platform& platform,
                                                                  const std::string& hostName);
  static std::shared_ptr<ZVReachability> reachabilityWithAddress(Platform& platform,
                                                                 const Ipv4SocketAddress& address);
  // The zero address 0.0.0.0: any route to the internet.
  static std::shared_ptr<ZVReachability> reachabilityForInternetConnection(Platform& platform);
  // The link-local network 169.254.0.0, judged by the local-WiFi rule.
  static std::shared_ptr<ZVReachability> reachabilityForLocalWiFi(Platform& platform);

  virtual ~ZVReachability();  // stops the notifier
  ZVReachability(const ZVReachability&) = delete;
  ZVReachability& operator=(const ZVReachability&) = delete;

  // Sets the change callback on the target and schedules it on the main run loop; true when
  // both were accepted. Starting twice is not guarded against.
  bool startNotifier();
  // Stops change notifications; harmless on a monitor that was never started. Once it
  // returns, no change notification of this monitor is posted.
  void stopNotifier();

  // Reads the flags afresh and reduces them by the local-WiFi rule for a local-WiFi monitor,
  // otherwise by the general rule (both virtual, so a subclass may replace them).
  NetworkStatus currentReachabilityStatus();
  // Whether the flags can be read and say that a connection must first be established.
  bool connectionRequired();

  // The general rule: reachable, and either no connection is required, or the system brings
  // one up by itself without the user, or the route is cellular.
  virtual NetworkStatus networkStatusForFlags(uint32_t flags);
  // The local-WiFi rule: reachable and direct.
  virtual NetworkStatus localWiFiStatusForFlags(uint32_t flags);

  bool localWiFiRef() const { return localWiFiRef_; }

 protected:
  // For subclasses: a monitor of `target` (nullptr: flags never readable).
  ZVReachability(Platform& platform, std::unique_ptr<ReachabilityTarget> target,
                 bool localWiFiRef = false);

 private:
  static std::shared_ptr<ZVReachability> make(Platform& platform,
                                              std::unique_ptr<ReachabilityTarget> target,
                                              bool localWiFiRef);

  Platform& platform_;
  const bool localWiFiRef_;
  const std::unique_ptr<ReachabilityTarget> reachabilityRef_;
};

}  // namespace zelvo
