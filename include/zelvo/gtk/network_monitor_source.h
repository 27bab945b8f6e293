#pragma once

#include "zelvo/platform/reachability_source.h"

namespace zelvo::gtk {

// Reachability from GIO's GNetworkMonitor (NetworkManager, the portal or the kernel's routes,
// whichever GIO picks): every target is reachable while the monitor reports the network
// available. Changes arrive on the thread-default main context of the thread that made the
// source, which must be the library's main thread (the GTK thread).
// Thread: targets' flags() from any thread; everything else on the main thread.
class NetworkMonitorSource : public ReachabilitySource {
 public:
  std::unique_ptr<ReachabilityTarget> targetForAddress(const Ipv4SocketAddress& address) override;
  std::unique_ptr<ReachabilityTarget> targetForHostName(const std::string& hostName) override;
};

}  // namespace zelvo::gtk
