#include "zelvo/linux/netlink_reachability_source.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <vector>

#include "platform/portable/io_thread.h"
#include "platform/linux/netlink_target.h"
#include "platform/linux/reachability_watch.h"
#include "platform/linux/route_probe.h"
#include "zelvo/portable/thread_executor.h"

namespace zelvo::linux_platform {

namespace {

// Without netlink nothing tells us of changes, so the scheduled targets are read this often.
constexpr std::chrono::milliseconds kFallbackRecheck{2000};
// How long the destructor waits for the I/O thread to let go of the watcher.
constexpr std::chrono::milliseconds kWatcherReleaseLimit{2000};

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

// Driven by the I/O thread: it waits on the netlink socket (or, without one, for the next
// two-second reading) together with the platform's other services.
struct NetlinkReachabilitySource::Impl : IoThread::Source {
  // Without `resolver` the source resolves host names on an executor of its own.
  Impl(RunLoop& mainLoop, LogSink& log, int netlinkSocket, Executor* resolver)
      : log(log),
        ownResolver(resolver ? nullptr : std::make_unique<portable::ThreadExecutor>()),
        watch(std::make_shared<ReachabilityWatch>(mainLoop, resolver ? *resolver : *ownResolver,
                                                  netlinkSocket >= 0 ? makeNetlinkRouteProbe() : makeUdpRouteProbe())),
        netlinkSocket(netlinkSocket) {}
  ~Impl() override {
    if (netlinkSocket >= 0) ::close(netlinkSocket);
  }

  void prepare(std::vector<pollfd>& fds, std::optional<IoThread::Clock::time_point>& deadline) override {
    if (netlinkSocket >= 0) {
      fds.push_back(pollfd{netlinkSocket, POLLIN, 0});
    } else if (!deadline || nextReading < *deadline) {
      deadline = nextReading;
    }
  }

  void dispatch(const pollfd* fds, std::size_t count, IoThread::Clock::time_point now) override {
    if (count == 1) {
      if (fds[0].revents == 0) return;
      if (!drain(netlinkSocket)) {
        log.write(LogSeverity::kWarning,
                  "[ZV]:Reachability: the netlink socket failed; reading the network every 2 seconds instead");
        ::close(netlinkSocket);
        netlinkSocket = -1;
        nextReading = now + kFallbackRecheck;
      }
    } else {
      if (now < nextReading) return;
      nextReading = now + kFallbackRecheck;
    }
    watch->recheckScheduled();
  }

  LogSink& log;
  const std::unique_ptr<portable::ThreadExecutor> ownResolver;
  const std::shared_ptr<ReachabilityWatch> watch;
  int netlinkSocket;  // I/O thread only once registered
  IoThread::Clock::time_point nextReading = IoThread::Clock::now() + kFallbackRecheck;
};

NetlinkReachabilitySource::NetlinkReachabilitySource(RunLoop& mainLoop, LogSink& log)
    : NetlinkReachabilitySource(mainLoop, log, openWatchSocket(), std::make_shared<IoThread>(), nullptr) {}

NetlinkReachabilitySource::NetlinkReachabilitySource(RunLoop& mainLoop, LogSink& log,
                                                     std::shared_ptr<IoThread> ioThread, Executor& resolver)
    : NetlinkReachabilitySource(mainLoop, log, openWatchSocket(), std::move(ioThread), &resolver) {}

std::unique_ptr<NetlinkReachabilitySource> NetlinkReachabilitySource::withNetlinkSocketForTesting(
    RunLoop& mainLoop, LogSink& log, int netlinkSocket) {
  return std::unique_ptr<NetlinkReachabilitySource>(
      new NetlinkReachabilitySource(mainLoop, log, netlinkSocket, std::make_shared<IoThread>(), nullptr));
}

NetlinkReachabilitySource::NetlinkReachabilitySource(RunLoop& mainLoop, LogSink& log, int netlinkSocket,
                                                     std::shared_ptr<IoThread> ioThread, Executor* resolver)
    : io_(std::move(ioThread)), impl_(std::make_shared<Impl>(mainLoop, log, netlinkSocket, resolver)) {
  // The usual way goes unsaid: a host with logging off hears from us only about faults.
  if (netlinkSocket < 0) {
    log.write(LogSeverity::kWarning,
              "[ZV]:Reachability: netlink is not available; reading the network through UDP route lookups");
  }
  if (!io_->post([io = io_.get(), impl = impl_] { io->addSource(impl.get()); })) {
    log.write(LogSeverity::kWarning, "[ZV]:Reachability: cannot watch the network; change notifications are off");
    impl_->watch->close();  // scheduling is refused from now on
  }
}

NetlinkReachabilitySource::~NetlinkReachabilitySource() {
  impl_->watch->close();
  // The task keeps the watcher alive until it has run, should the I/O thread be held up.
  io_->runAndWait([io = io_.get(), impl = impl_] { io->removeSource(impl.get()); }, kWatcherReleaseLimit);
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
