#pragma once

#include <array>
#include <cstdint>

namespace zelvo::linux_platform {

// An IPv4 or IPv6 address in network byte order.
struct IpAddress {
  int family = 0;                   // AF_INET or AF_INET6
  std::array<uint8_t, 16> bytes{};  // an IPv4 address uses the first four
  bool operator==(const IpAddress&) const = default;
};

}  // namespace zelvo::linux_platform
