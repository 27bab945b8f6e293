#pragma once

#include <memory>
#include <string>

#include "zelvo/platform/reachability_source.h"
#include "zelvo/export.h"

namespace zelvo::portable {

// Reachability that never asks the system: every target is Reachable | IsDirect and never
// changes. For a collector on this machine or a network the routing table does not describe
// (a container without a default route, a VPN that routes by policy). Thread: any.
class ZELVO_EXPORT AlwaysReachableSource : public ReachabilitySource {
 public:
  std::unique_ptr<ReachabilityTarget> targetForAddress(const Ipv4SocketAddress& address) override;
  std::unique_ptr<ReachabilityTarget> targetForHostName(const std::string& hostName) override;
};

}  // namespace zelvo::portable
