#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "platform/linux/ip_address.h"

namespace zelvo::linux_platform {

// Asks the kernel the routing questions reachability flags are made of. Each answer is the
// flags now, or nothing when the kernel could not be asked. Only flags with a meaning on
// Linux are ever set; the others stay clear.
// Thread: any, concurrently (every question opens its own sockets).
class RouteProbe {
 public:
  virtual ~RouteProbe() = default;
  // Reachable while a route to the internet exists.
  virtual std::optional<uint32_t> internetFlags() = 0;
  // Reachable | IsDirect while an interface that is up holds an IPv4 link-local address.
  virtual std::optional<uint32_t> linkLocalFlags() = 0;
  // Reachable while the kernel has a route to `address`.
  virtual std::optional<uint32_t> addressFlags(const IpAddress& address) = 0;
};

// Through rtnetlink queries: the main routing table, interface and address lists, and the
// kernel's own route lookup.
std::unique_ptr<RouteProbe> makeNetlinkRouteProbe();
// Without netlink (sandboxes that forbid it): connecting a UDP socket asks the kernel for a
// route and sends nothing.
std::unique_ptr<RouteProbe> makeUdpRouteProbe();

}  // namespace zelvo::linux_platform
