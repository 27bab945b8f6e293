#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "zelvo/export.h"

namespace zelvo {

// Reachability flags of a target, one bit each.
namespace reachability_flags {
inline constexpr uint32_t kReachable = 0x2;
inline constexpr uint32_t kConnectionRequired = 0x4;
inline constexpr uint32_t kConnectionOnTraffic = 0x8;
inline constexpr uint32_t kInterventionRequired = 0x10;
inline constexpr uint32_t kConnectionOnDemand = 0x20;
inline constexpr uint32_t kIsLocalAddress = 0x10000;
inline constexpr uint32_t kIsDirect = 0x20000;
inline constexpr uint32_t kIsWWAN = 0x40000;
}  // namespace reachability_flags

// An IPv4 socket address as the reachability targets take it (port in network byte order).
struct ZELVO_EXPORT Ipv4SocketAddress {
  uint8_t length = 16;
  uint8_t family = 2;  // AF_INET
  uint16_t port = 0;
  std::array<uint8_t, 4> address{};
};

// One watched destination: the internet (the zero address), the link-local network, a host.
class ZELVO_EXPORT ReachabilityTarget {
 public:
  virtual ~ReachabilityTarget() = default;
  // The target's flags now, or nothing when they cannot be read. Thread: any.
  virtual std::optional<uint32_t> flags() = 0;
  // Sets the change callback (replacing any earlier one); false if refused. Thread: main.
  virtual bool setCallback(std::function<void()> onChange) = 0;
  // Starts delivering changes to the callback on the main run loop; false if refused.
  virtual bool scheduleOnMainRunLoop() = 0;
  // Stops delivering changes. Harmless when not scheduled. Once it returns, the callback is
  // not called again. Thread: main.
  virtual void unscheduleFromMainRunLoop() = 0;
};

class ZELVO_EXPORT ReachabilitySource {
 public:
  virtual ~ReachabilitySource() = default;
  // A target for an address, or nullptr when the platform refuses it. Thread: any.
  virtual std::unique_ptr<ReachabilityTarget> targetForAddress(const Ipv4SocketAddress& address) = 0;
  // A target for a host name, or nullptr when the platform refuses it. Thread: any.
  virtual std::unique_ptr<ReachabilityTarget> targetForHostName(const std::string& hostName) = 0;
};

}  // namespace zelvo
