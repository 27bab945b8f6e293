#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "platform/linux/route_probe.h"
#include "zelvo/platform/reachability_source.h"

namespace zelvo::linux_platform {

namespace {

using namespace reachability_flags;

// Documentation addresses (TEST-NET-1, 2001:db8::/32): connecting to them only asks the
// kernel which route it would take; a UDP connect sends nothing.
constexpr IpAddress kInternetIpv4{AF_INET, {192, 0, 2, 1}};
constexpr IpAddress kInternetIpv6{AF_INET6, {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}};
// Any address of the link-local network: the route to it says which source address the
// kernel would use.
constexpr IpAddress kLinkLocalProbe{AF_INET, {169, 254, 0, 1}};
constexpr uint16_t kDiscardPort = 9;

struct RouteAnswer {
  bool exists = false;
  IpAddress source;
};

// Whether the kernel has a route to `destination`, and the source address it would pick; or
// nothing when no socket could be made.
std::optional<RouteAnswer> lookUpRoute(const IpAddress& destination) {
  const int fd = ::socket(destination.family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return std::nullopt;
  sockaddr_storage remote{};
  socklen_t length = 0;
  if (destination.family == AF_INET) {
    auto* in = reinterpret_cast<sockaddr_in*>(&remote);
    in->sin_family = AF_INET;
    in->sin_port = htons(kDiscardPort);
    std::memcpy(&in->sin_addr, destination.bytes.data(), 4);
    length = sizeof(sockaddr_in);
  } else {
    auto* in6 = reinterpret_cast<sockaddr_in6*>(&remote);
    in6->sin6_family = AF_INET6;
    in6->sin6_port = htons(kDiscardPort);
    std::memcpy(&in6->sin6_addr, destination.bytes.data(), 16);
    length = sizeof(sockaddr_in6);
  }
  RouteAnswer answer;
  answer.exists = ::connect(fd, reinterpret_cast<const sockaddr*>(&remote), length) == 0;
  sockaddr_storage local{};
  socklen_t localLength = sizeof(local);
  if (answer.exists && ::getsockname(fd, reinterpret_cast<sockaddr*>(&local), &localLength) == 0 &&
      local.ss_family == AF_INET) {
    answer.source.family = AF_INET;
    std::memcpy(answer.source.bytes.data(), &reinterpret_cast<const sockaddr_in*>(&local)->sin_addr, 4);
  }
  ::close(fd);
  return answer;
}

class UdpRouteProbe : public RouteProbe {
 public:
  std::optional<uint32_t> internetFlags() override {
    const auto ipv4 = lookUpRoute(kInternetIpv4);
    const auto ipv6 = lookUpRoute(kInternetIpv6);
    if (!ipv4 && !ipv6) return std::nullopt;
    return (ipv4 && ipv4->exists) || (ipv6 && ipv6->exists) ? kReachable : 0u;
  }

  std::optional<uint32_t> linkLocalFlags() override {
    const auto answer = lookUpRoute(kLinkLocalProbe);
    if (!answer) return std::nullopt;
    const bool fromLinkLocal = answer->source.family == AF_INET && answer->source.bytes[0] == 169 &&
                               answer->source.bytes[1] == 254;
    return answer->exists && fromLinkLocal ? kReachable | kIsDirect : 0u;
  }

  std::optional<uint32_t> addressFlags(const IpAddress& address) override {
    const auto answer = lookUpRoute(address);
    if (!answer) return std::nullopt;
    return answer->exists ? kReachable : 0u;
  }
};

}  // namespace

std::unique_ptr<RouteProbe> makeUdpRouteProbe() { return std::make_unique<UdpRouteProbe>(); }

}  // namespace zelvo::linux_platform
