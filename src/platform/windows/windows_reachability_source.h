#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "zelvo/platform/log_sink.h"
#include "zelvo/platform/reachability_source.h"
#include "zelvo/platform/run_loop.h"

namespace zelvo::portable {
class IoThread;
}

namespace zelvo::windows_platform {

// Reachability on Windows: a target is Reachable when the network list manager reports
// connectivity (INetworkListManager::GetConnectivity; without it, when the routing table has
// an interface towards the target: GetBestInterfaceEx). Changes come from the system's
// interface notifications (NotifyIpInterfaceChange) where it delivers them, and from a poll
// every `pollInterval` where it does not (Wine accepts the notification and never calls it).
// A loopback address is always Reachable | IsDirect. Callbacks run on the main run loop.
// Thread: any, except as the ReachabilityTarget interface says.
class WindowsReachabilitySource : public ReachabilitySource {
 public:
  // The flags of a target now: by default the system's, as above.
  using Probe = std::function<std::optional<uint32_t>(const std::optional<Ipv4SocketAddress>& address)>;
  static std::optional<uint32_t> systemFlags(const std::optional<Ipv4SocketAddress>& address);

  WindowsReachabilitySource(RunLoop& mainLoop, std::shared_ptr<portable::IoThread> io,
                            std::chrono::milliseconds pollInterval = std::chrono::seconds(10),
                            Probe probe = &WindowsReachabilitySource::systemFlags);
  ~WindowsReachabilitySource() override;
  WindowsReachabilitySource(const WindowsReachabilitySource&) = delete;
  WindowsReachabilitySource& operator=(const WindowsReachabilitySource&) = delete;

  std::unique_ptr<ReachabilityTarget> targetForAddress(const Ipv4SocketAddress& address) override;
  std::unique_ptr<ReachabilityTarget> targetForHostName(const std::string& hostName) override;

  // Reads every scheduled target's flags again and calls back those that changed, as an
  // interface notification or the poll does. Thread: any.
  void recheck();

 private:
  struct State;
  class Target;
  std::shared_ptr<State> state_;
};

}  // namespace zelvo::windows_platform
