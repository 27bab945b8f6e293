#pragma once

#include <memory>
#include <string>

#include "zelvo/platform/log_sink.h"
#include "zelvo/platform/reachability_source.h"
#include "zelvo/platform/run_loop.h"
#include "zelvo/export.h"

namespace zelvo::portable {
class IoThread;
}  // namespace zelvo::portable

namespace zelvo::linux_platform {

using portable::IoThread;

// Reachability on Linux, from the kernel's routing state. What the flags mean here:
//   the zero address 0.0.0.0 (the internet): Reachable while the main routing table holds a
//     usable IPv4 or IPv6 default route (not unreachable, blackhole or prohibit) through an
//     interface that is up and running;
//   169.254.0.0 (the link-local network): Reachable | IsDirect while an interface that is up
//     and running holds an IPv4 address in 169.254.0.0/16;
//   any other address, and each address of a host name: the kernel's route lookup.
//     Reachable when it routes the address through a running interface, plus IsDirect
//     when no gateway is involved; a local address is Reachable | IsLocalAddress | IsDirect.
//     A host name is resolved on the background executor (never on the caller's thread):
//     until the first answer its flags are 0, later they come from the latest answer, and
//     every reading while the source lives starts a new resolution.
//   ConnectionRequired, ConnectionOnTraffic, InterventionRequired, ConnectionOnDemand and
//   IsWWAN have no meaning here and stay clear.
// A target whose flags cannot be read answers nothing. A target for an address that is not
// AF_INET, or for an empty host name, is refused.
//
// Changes: the platform's I/O thread (one of the source's own when it is made alone) listens
// on an rtnetlink socket (links, IPv4 and
// IPv6 routes, IPv4 addresses); after each burst of messages it reads the scheduled targets
// again and posts the callback of each whose flags changed to the main run loop.
// Where no netlink socket can be opened at all (some sandboxes), flags come from connecting
// UDP sockets, which asks the kernel for a route and sends nothing: the internet is
// Reachable while 192.0.2.1 or 2001:db8::1 is routed, the link-local network is
// Reachable | IsDirect while the route to it leaves from a 169.254/16 address, other
// addresses are Reachable while routed; the I/O thread then reads the scheduled targets
// again every two seconds, and that fallback is logged once as a warning.
//
// Thread: every member is safe from any thread. The run loop and the log sink must outlive
// the source. The destructor stops the watching (within the time of one reading); the
// caller owns the targets it returns, which may outlive the source but are
// no longer called back once it is gone.
class ZELVO_EXPORT NetlinkReachabilitySource : public ReachabilitySource {
 public:
  NetlinkReachabilitySource(RunLoop& mainLoop, LogSink& log);
  // Watches on `ioThread` (the Linux platform's, shared with its other services) and resolves
  // host names on `resolver` (the platform's background executor), which must outlive this.
  NetlinkReachabilitySource(RunLoop& mainLoop, LogSink& log, std::shared_ptr<IoThread> ioThread, Executor& resolver);
  // Watches `netlinkSocket` (taken over; for instance a NETLINK_ROUTE socket the test bound
  // to the groups it wants, or one end of a socket pair it writes messages into) instead of
  // opening its own. -1 behaves as if netlink could not be opened: the UDP fallback is used.
  static std::unique_ptr<NetlinkReachabilitySource> withNetlinkSocketForTesting(RunLoop& mainLoop, LogSink& log,
                                                                                int netlinkSocket);
  ~NetlinkReachabilitySource() override;
  NetlinkReachabilitySource(const NetlinkReachabilitySource&) = delete;
  NetlinkReachabilitySource& operator=(const NetlinkReachabilitySource&) = delete;

  std::unique_ptr<ReachabilityTarget> targetForAddress(const Ipv4SocketAddress& address) override;
  std::unique_ptr<ReachabilityTarget> targetForHostName(const std::string& hostName) override;

 private:
  struct Impl;
  NetlinkReachabilitySource(RunLoop& mainLoop, LogSink& log, int netlinkSocket, std::shared_ptr<IoThread> ioThread,
                            Executor* resolver);
  std::shared_ptr<IoThread> io_;
  std::shared_ptr<Impl> impl_;
};

}  // namespace zelvo::linux_platform
