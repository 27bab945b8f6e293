#include <linux/if.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <unordered_set>

#include "platform/linux/route_probe.h"
#include "platform/linux/rtnetlink.h"
#include "zelvo/platform/reachability_source.h"

namespace zelvo::linux_platform {

namespace {

using namespace reachability_flags;
using Interfaces = std::unordered_set<int>;

constexpr unsigned kUnusableNextHop = RTNH_F_DEAD | RTNH_F_LINKDOWN;

std::optional<uint32_t> attributeU32(const NetlinkAttribute& attribute) {
  return readNetlinkStruct<uint32_t>(attribute.data);
}

bool succeeded(const std::optional<int>& result) { return result && *result == 0; }

// Indexes of the interfaces that are administratively up and have a carrier.
std::optional<Interfaces> runningInterfaces(RtnetlinkSocket& socket) {
  ifinfomsg request{};
  request.ifi_family = AF_UNSPEC;
  Interfaces running;
  const auto collect = [&](const NetlinkMessage& message) {
    const auto link = readNetlinkStruct<ifinfomsg>(message.payload);
    const unsigned wanted = IFF_UP | IFF_RUNNING;
    if (message.type == RTM_NEWLINK && link && (link->ifi_flags & wanted) == wanted) running.insert(link->ifi_index);
  };
  const auto result = socket.exchange(RTM_GETLINK, NLM_F_DUMP, netlinkBytesOf(request), {}, collect);
  if (!succeeded(result)) return std::nullopt;
  return running;
}

// A default route of the main table that delivers packets (not unreachable, blackhole or
// prohibit) through at least one running interface.
bool isUsableDefaultRoute(const NetlinkMessage& message, const Interfaces& running) {
  const auto route = readNetlinkStruct<rtmsg>(message.payload);
  if (message.type != RTM_NEWROUTE || !route || (route->rtm_family != AF_INET && route->rtm_family != AF_INET6) ||
      route->rtm_dst_len != 0 || route->rtm_type != RTN_UNICAST || (route->rtm_flags & kUnusableNextHop) != 0) {
    return false;
  }
  uint32_t table = route->rtm_table;
  bool throughRunningInterface = false;
  for (const NetlinkAttribute& attribute : netlinkAttributes(message.payload, sizeof(rtmsg))) {
    if (attribute.type == RTA_TABLE) {
      table = attributeU32(attribute).value_or(table);
    } else if (attribute.type == RTA_OIF) {
      const auto index = attributeU32(attribute);
      throughRunningInterface |= index && running.contains(static_cast<int>(*index));
    } else if (attribute.type == RTA_MULTIPATH) {
      // A list of rtnexthop records, each followed by its own attributes.
      std::span<const uint8_t> hops = attribute.data;
      while (const auto hop = readNetlinkStruct<rtnexthop>(hops)) {
        if (hop->rtnh_len < sizeof(rtnexthop) || hop->rtnh_len > hops.size()) break;
        throughRunningInterface |= (hop->rtnh_flags & kUnusableNextHop) == 0 && running.contains(hop->rtnh_ifindex);
        hops = hops.subspan(std::min<std::size_t>(RTNH_ALIGN(hop->rtnh_len), hops.size()));
      }
    }
  }
  return table == RT_TABLE_MAIN && throughRunningInterface;
}

bool isLinkLocal(std::span<const uint8_t> ipv4) { return ipv4.size() == 4 && ipv4[0] == 169 && ipv4[1] == 254; }

class NetlinkRouteProbe : public RouteProbe {
 public:
  std::optional<uint32_t> internetFlags() override {
    auto socket = RtnetlinkSocket::open();
    if (!socket) return std::nullopt;
    const auto running = runningInterfaces(*socket);
    if (!running) return std::nullopt;
    rtmsg request{};
    request.rtm_family = AF_UNSPEC;  // IPv4 and IPv6 alike
    bool found = false;
    const auto result = socket->exchange(RTM_GETROUTE, NLM_F_DUMP, netlinkBytesOf(request), {},
                                         [&](const NetlinkMessage& message) {
                                           found |= isUsableDefaultRoute(message, *running);
                                         });
    if (!succeeded(result)) return std::nullopt;
    return found ? kReachable : 0u;
  }

  std::optional<uint32_t> linkLocalFlags() override {
    auto socket = RtnetlinkSocket::open();
    if (!socket) return std::nullopt;
    const auto running = runningInterfaces(*socket);
    if (!running) return std::nullopt;
    ifaddrmsg request{};
    request.ifa_family = AF_INET;
    bool found = false;
    const auto result = socket->exchange(
        RTM_GETADDR, NLM_F_DUMP, netlinkBytesOf(request), {}, [&](const NetlinkMessage& message) {
          const auto address = readNetlinkStruct<ifaddrmsg>(message.payload);
          if (message.type != RTM_NEWADDR || !address || address->ifa_family != AF_INET ||
              !running->contains(static_cast<int>(address->ifa_index))) {
            return;
          }
          for (const NetlinkAttribute& attribute : netlinkAttributes(message.payload, sizeof(ifaddrmsg))) {
            // IFA_LOCAL is the interface's own address; IFA_ADDRESS is the peer on a
            // point-to-point link and the own address elsewhere.
            if (attribute.type == IFA_LOCAL && isLinkLocal(attribute.data)) found = true;
          }
        });
    if (!succeeded(result)) return std::nullopt;
    return found ? kReachable | kIsDirect : 0u;
  }

  std::optional<uint32_t> addressFlags(const IpAddress& address) override {
    auto socket = RtnetlinkSocket::open();
    if (!socket) return std::nullopt;
    const auto running = runningInterfaces(*socket);
    if (!running) return std::nullopt;
    const std::size_t length = address.family == AF_INET ? 4 : 16;
    rtmsg request{};
    request.rtm_family = static_cast<unsigned char>(address.family);
    request.rtm_dst_len = static_cast<unsigned char>(length * 8);
    std::vector<uint8_t> attributes;
    appendNetlinkAttribute(attributes, RTA_DST, std::span(address.bytes).first(length));
    uint32_t flags = 0;
    const auto result = socket->exchange(
        RTM_GETROUTE, 0, netlinkBytesOf(request), attributes, [&](const NetlinkMessage& message) {
          const auto route = readNetlinkStruct<rtmsg>(message.payload);
          if (message.type != RTM_NEWROUTE || !route) return;
          if (route->rtm_type == RTN_LOCAL) {
            flags = kReachable | kIsLocalAddress | kIsDirect;
            return;
          }
          if (route->rtm_type != RTN_UNICAST) return;
          bool viaGateway = false;
          bool throughRunningInterface = false;
          for (const NetlinkAttribute& attribute : netlinkAttributes(message.payload, sizeof(rtmsg))) {
            viaGateway |= attribute.type == RTA_GATEWAY || attribute.type == RTA_VIA;
            if (attribute.type == RTA_OIF) {
              const auto index = attributeU32(attribute);
              throughRunningInterface |= index && running->contains(static_cast<int>(*index));
            }
          }
          if (throughRunningInterface) flags = kReachable | (viaGateway ? 0u : kIsDirect);
        });
    // The kernel answers an error (network unreachable, prohibited) when it has no route.
    if (!result) return std::nullopt;
    return *result == 0 ? flags : 0u;
  }
};

}  // namespace

std::unique_ptr<RouteProbe> makeNetlinkRouteProbe() { return std::make_unique<NetlinkRouteProbe>(); }

}  // namespace zelvo::linux_platform
