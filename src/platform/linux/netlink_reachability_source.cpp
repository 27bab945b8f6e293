#include "zelvo/linux/netlink_reachability_source.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <thread>

#include "platform/linux/netlink_target.h"
#include "platform/linux/reachability_watch.h"
#include "platform/linux/route_probe.h"

namespace zelvo::linux_platform {

namespace {

// Without netlink nothing tells us of changes, so the scheduled targets are read this often.
constexpr int kFallbackRecheckMilliseconds = 2000;

// A socket that receives the kernel's announcements of link, route and IPv4 address
// changes; -1 when netlink cannot be opened.
int openWatchSocket() {
  const int fd = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  if (fd < 0) return -1;
  sockaddr_nl local{};
  local.nl_family = AF_NETLINK;
  local.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE | RTMGRP_IPV4_IFADDR;
  if (::bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof(local)) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

// Reads every waiting message; their content does not matter, only that something changed.
// False when the socket can no longer be read.
bool drain(int fd) {
  std::array<uint8_t, 16 * 1024> buffer;
  while (true) {
    const ssize_t length = ::recv(fd, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (length > 0) continue;
    if (length < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return true;
    // An overrun lost messages, which is no loss here: everything is read again anyway.
    if (length < 0 && (errno == EINTR || errno == ENOBUFS)) continue;
    return false;
  }
}

}  // namespace

struct NetlinkReachabilitySource::Impl {
  Impl(RunLoop& mainLoop, LogSink& log, int netlinkSocket)
      : log(log),
        watch(std::make_shared<ReachabilityWatch>(
            mainLoop, netlinkSocket >= 0 ? makeNetlinkRouteProbe() : makeUdpRouteProbe())),
        netlinkSocket(netlinkSocket) {}

  void watchForChanges();

  LogSink& log;
  const std::shared_ptr<ReachabilityWatch> watch;
  int netlinkSocket;  // owned by the watcher thread while it runs
  int wakeFd = -1;
  std::thread watcher;
};

void NetlinkReachabilitySource::Impl::watchForChanges() {
  while (true) {
    std::array<pollfd, 2> fds{{{wakeFd, POLLIN, 0}, {netlinkSocket, POLLIN, 0}}};
    const nfds_t count = netlinkSocket >= 0 ? 2 : 1;
    const int ready = ::poll(fds.data(), count, netlinkSocket >= 0 ? -1 : kFallbackRecheckMilliseconds);
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0 || fds[0].revents != 0) return;  // stopping (or poll itself failed)
    if (count == 2 && fds[1].revents != 0 && !drain(netlinkSocket)) {
      log.write(LogSeverity::kWarning,
                "[ZV]:Reachability: the netlink socket failed; reading the network every 2 seconds instead");
      ::close(netlinkSocket);
      netlinkSocket = -1;
    }
    watch->recheckScheduled();
  }
}

NetlinkReachabilitySource::NetlinkReachabilitySource(RunLoop& mainLoop, LogSink& log)
    : NetlinkReachabilitySource(mainLoop, log, openWatchSocket()) {}

std::unique_ptr<NetlinkReachabilitySource> NetlinkReachabilitySource::withNetlinkSocketForTesting(
    RunLoop& mainLoop, LogSink& log, int netlinkSocket) {
  return std::unique_ptr<NetlinkReachabilitySource>(new NetlinkReachabilitySource(mainLoop, log, netlinkSocket));
}

NetlinkReachabilitySource::NetlinkReachabilitySource(RunLoop& mainLoop, LogSink& log, int netlinkSocket)
    : impl_(std::make_unique<Impl>(mainLoop, log, netlinkSocket)) {
  // The usual way goes unsaid: a host with logging off hears from us only about faults.
  if (netlinkSocket < 0) {
    log.write(LogSeverity::kWarning,
              "[ZV]:Reachability: netlink is not available; reading the network through UDP route lookups");
  }
  impl_->wakeFd = ::eventfd(0, EFD_CLOEXEC);
  try {
    if (impl_->wakeFd >= 0) impl_->watcher = std::thread([impl = impl_.get()] { impl->watchForChanges(); });
  } catch (const std::system_error&) {
  }
  if (!impl_->watcher.joinable()) {
    log.write(LogSeverity::kWarning, "[ZV]:Reachability: cannot watch the network; change notifications are off");
    impl_->watch->close();  // scheduling is refused from now on
  }
}

NetlinkReachabilitySource::~NetlinkReachabilitySource() {
  impl_->watch->close();
  if (impl_->watcher.joinable()) {
    const uint64_t one = 1;
    // An eventfd write of 1 cannot fail short of overflow, and the thread is woken by it.
    [[maybe_unused]] const ssize_t written = ::write(impl_->wakeFd, &one, sizeof(one));
    impl_->watcher.join();
  }
  if (impl_->wakeFd >= 0) ::close(impl_->wakeFd);
  if (impl_->netlinkSocket >= 0) ::close(impl_->netlinkSocket);
}

std::unique_ptr<ReachabilityTarget> NetlinkReachabilitySource::targetForAddress(const Ipv4SocketAddress& address) {
  if (address.family != AF_INET) return nullptr;
  constexpr std::array<uint8_t, 4> kZero{0, 0, 0, 0};
  constexpr std::array<uint8_t, 4> kLinkLocalNetwork{169, 254, 0, 0};
  IpAddress ip{AF_INET, {}};
  std::copy(address.address.begin(), address.address.end(), ip.bytes.begin());
  const TargetState::Kind kind = address.address == kZero               ? TargetState::Kind::kInternet
                                 : address.address == kLinkLocalNetwork ? TargetState::Kind::kLinkLocal
                                                                        : TargetState::Kind::kAddress;
  return std::make_unique<NetlinkTarget>(impl_->watch, std::make_shared<TargetState>(kind, ip, std::string()));
}

std::unique_ptr<ReachabilityTarget> NetlinkReachabilitySource::targetForHostName(const std::string& hostName) {
  // getaddrinfo takes a C string: an empty name or one with a NUL inside names nothing.
  if (hostName.empty() || hostName.find('\0') != std::string::npos) return nullptr;
  return std::make_unique<NetlinkTarget>(
      impl_->watch, std::make_shared<TargetState>(TargetState::Kind::kHostName, IpAddress{}, hostName));
}

}  // namespace zelvo::linux_platform
