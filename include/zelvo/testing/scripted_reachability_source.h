#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zelvo/platform/reachability_source.h"
#include "zelvo/platform/run_loop.h"
#include "zelvo/export.h"

namespace zelvo::testing {

// Flags of all targets, set by the test; changes are announced on the main run loop.
class ZELVO_EXPORT ScriptedReachabilitySource : public ReachabilitySource {
 public:
  explicit ScriptedReachabilitySource(RunLoop& mainLoop);
  ~ScriptedReachabilitySource() override;
  std::unique_ptr<ReachabilityTarget> targetForAddress(const Ipv4SocketAddress& address) override;
  std::unique_ptr<ReachabilityTarget> targetForHostName(const std::string& hostName) override;

  // Flags of the internet (zero address) and host-name targets; nothing means unreadable.
  // Initially kReachable.
  void setFlags(std::optional<uint32_t> flags);
  // Flags of the link-local (169.254.0.0) target. Initially kReachable | kIsDirect.
  void setLocalFlags(std::optional<uint32_t> flags);
  // Makes the next target creations fail.
  void setRefuseTargets(bool refuse);
  std::vector<Ipv4SocketAddress> requestedAddresses() const;

 private:
  struct Impl;
  std::unique_ptr<ReachabilityTarget> makeTarget(bool local);
  // Shared with the targets, which may outlive the source.
  std::shared_ptr<Impl> impl_;
};

}  // namespace zelvo::testing
