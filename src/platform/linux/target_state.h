#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/ip_address.h"

namespace zelvo::linux_platform {

// What one reachability target watches, and its watching state. Shared by the target, the
// watcher thread, host-name resolutions and change tasks queued on the main run loop.
struct TargetState {
  enum class Kind { kInternet, kLinkLocal, kAddress, kHostName };

  TargetState(Kind kind, IpAddress address, std::string hostName)
      : kind(kind), address(address), hostName(std::move(hostName)) {}

  const Kind kind;
  const IpAddress address;     // kAddress only
  const std::string hostName;  // kHostName only

  std::mutex mutex;
  // Guarded by mutex:
  std::function<void()> callback;
  bool scheduled = false;
  std::optional<uint32_t> lastFlags;  // as last announced, while scheduled
  bool resolving = false;
  // Nothing until the first resolution has answered; empty when the name did not resolve.
  std::optional<std::vector<IpAddress>> resolvedAddresses;
};

}  // namespace zelvo::linux_platform
