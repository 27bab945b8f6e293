// The Linux reachability source against the real kernel, inside a private network namespace
// that each test makes for itself in a forked child: nothing outside that namespace (the
// machine's own interfaces, routes or addresses) is ever touched, and no packet is sent.

#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "integration/local_https_server.h"
#include "integration/temp_directory.h"
#include "zelvo/linux/linux_platform.h"
#include "zelvo/linux/netlink_reachability_source.h"
#include "zelvo/testing/testing_platform.h"
#include "zelvo/zv_tracker.h"

namespace zelvo::linux_platform {
namespace {

using namespace reachability_flags;
using Clock = std::chrono::steady_clock;

// What the child reports: nothing for success, "SKIP: ..." or the failed checks.
struct ChildReport {
  std::vector<std::string> failures;
  std::string skipped;
  void check(bool ok, const std::string& what) {
    if (!ok) failures.push_back(what);
  }
};

// Changes the namespace's network with iproute2 (in /usr/sbin, off a user's path); whether it
// worked.
bool ip(const std::string& arguments) {
  return std::system(("PATH=\"$PATH:/usr/sbin:/sbin\" ip " + arguments + " >/dev/null 2>&1").c_str()) == 0;
}

// Runs the main run loop (in real time, bounded) until `done` holds.
bool waitUntil(zelvo::testing::ManualRunLoop& loop, const std::function<bool()>& done, double seconds = 5.0) {
  const auto deadline = Clock::now() + std::chrono::duration<double>(seconds);
  while (!done()) {
    if (Clock::now() >= deadline) return false;
    loop.waitForPostedTask(0.05);
  }
  return true;
}

// Everything a test body needs inside its namespace: the main run loop of the child, a log,
// and the namespace's one interface zvd0 with 10.77.0.2/24, already up.
struct Namespace {
  explicit Namespace(ChildReport& report) : report(report) {}
  bool addDefaultRoute() { return ip("route add default via 10.77.0.1 dev zvd0"); }
  bool deleteDefaultRoute() { return ip("route del default dev zvd0"); }
  bool addLinkLocalAddress() { return ip("addr add 169.254.3.4/16 dev zvd0"); }
  zelvo::testing::VirtualClock clock;
  zelvo::testing::ManualRunLoop loop{clock};
  zelvo::testing::CapturingLogSink log;
  ChildReport& report;
};

// In a forked child: a new network namespace with `lo` up and one interface, then `body`.
// The child reports through a pipe; the parent waits a bounded time and kills it after that.
void runInPrivateNetworkNamespace(const std::function<void(Namespace&)>& body) {
  int channel[2];
  ASSERT_EQ(::pipe(channel), 0);
  std::fflush(nullptr);  // or the child would write what the parent has buffered a second time
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    ::close(channel[0]);
    ChildReport report;
    // Nothing is changed unless the namespace is certainly our own.
    const bool isolated = ::unshare(CLONE_NEWNET) == 0;
    if (!isolated) {
      report.skipped = std::string("network namespaces are not permitted here: ") + std::strerror(errno);
    } else if (!ip("link set lo up")) {
      report.skipped = "iproute2's ip does not work here";
    } else if (!ip("link add zvd0 type dummy") && !ip("link add zvd0 type veth peer name zvd1")) {
      report.skipped = "neither a dummy nor a veth interface can be made";
    } else {
      // A veth's peer stays in the namespace too, and must be up for the link to be.
      report.check(ip("link set zvd0 up") && (!ip("link show zvd1") || ip("link set zvd1 up")), "interface up");
      report.check(ip("addr add 10.77.0.2/24 dev zvd0"), "address 10.77.0.2/24");
      Namespace space(report);
      if (report.failures.empty()) body(space);
    }
    std::string text = report.skipped.empty() ? "" : "SKIP: " + report.skipped;
    for (const std::string& failure : report.failures) text += "failed: " + failure + "\n";
    [[maybe_unused]] const ssize_t written = ::write(channel[1], text.data(), text.size());
    ::_exit(0);
  }
  ::close(channel[1]);
  std::string text;
  bool finished = false;
  const auto deadline = Clock::now() + std::chrono::seconds(30);
  while (Clock::now() < deadline) {
    pollfd readable{channel[0], POLLIN, 0};
    if (::poll(&readable, 1, 200) <= 0) continue;
    char buffer[512];
    const ssize_t length = ::read(channel[0], buffer, sizeof(buffer));
    if (length <= 0) {
      finished = true;
      break;
    }
    text.append(buffer, static_cast<std::size_t>(length));
  }
  ::close(channel[0]);
  if (!finished) ::kill(child, SIGKILL);
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_TRUE(finished) << "the namespace child did not finish in time";
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the namespace child crashed";
  if (text.starts_with("SKIP: ")) GTEST_SKIP() << text.substr(6);
  EXPECT_EQ(text, "");
}

Ipv4SocketAddress ipv4(std::array<uint8_t, 4> address) {
  Ipv4SocketAddress result;
  result.address = address;
  return result;
}

TEST(NetlinkReachability, FollowsDefaultRouteAndLinkLocalAddressesInANamespace) {
  runInPrivateNetworkNamespace([](Namespace& ns) {
    ChildReport& report = ns.report;
    auto source = std::make_unique<NetlinkReachabilitySource>(ns.loop, ns.log);
    report.check(ns.log.lines().empty(), "starts without a log line");
    auto internet = source->targetForAddress(ipv4({0, 0, 0, 0}));
    auto linkLocal = source->targetForAddress(ipv4({169, 254, 0, 0}));
    auto host = source->targetForHostName("10.77.0.5");
    report.check(internet && linkLocal && host, "targets made");
    report.check(source->targetForHostName("") == nullptr, "empty host name refused");
    Ipv4SocketAddress notIpv4;
    notIpv4.family = 10;
    report.check(source->targetForAddress(notIpv4) == nullptr, "non-IPv4 address refused");
    if (!report.failures.empty()) return;

    report.check(internet->flags() == 0u, "no default route: not reachable");
    report.check(linkLocal->flags() == 0u, "no link-local address yet");
    int changes = 0;
    internet->setCallback([&] {
      report.check(ns.loop.isMainThread(), "callback on the main thread");
      ++changes;
    });
    report.check(internet->scheduleOnMainRunLoop(), "scheduled");

    report.check(ns.addDefaultRoute(), "default route added");
    report.check(waitUntil(ns.loop, [&] { return changes >= 1; }), "callback after the route appeared");
    report.check(internet->flags() == kReachable, "default route: reachable");

    // The kernel's route lookups: on the link, through the gateway, and our own address.
    report.check(source->targetForAddress(ipv4({10, 77, 0, 9}))->flags() == (kReachable | kIsDirect), "on-link");
    report.check(source->targetForAddress(ipv4({192, 0, 2, 1}))->flags() == kReachable, "via gateway");
    report.check(source->targetForAddress(ipv4({10, 77, 0, 2}))->flags() == (kReachable | kIsLocalAddress | kIsDirect),
                 "own address");
    report.check(waitUntil(ns.loop, [&] { return host->flags() == (kReachable | kIsDirect); }),
                 "host name resolved in the background and routed on the link");

    const int before = changes;
    report.check(ns.deleteDefaultRoute(), "default route deleted");
    report.check(waitUntil(ns.loop, [&] { return changes > before; }), "callback after the route went");
    report.check(internet->flags() == 0u, "no default route again: not reachable");

    report.check(ns.addLinkLocalAddress(), "link-local address added");
    report.check(linkLocal->flags() == (kReachable | kIsDirect), "link-local network: reachable and direct");

    // Unscheduled: later changes are not called back, even those already under way.
    internet->unscheduleFromMainRunLoop();
    const int settled = changes;
    report.check(ns.addDefaultRoute(), "default route added again");
    waitUntil(ns.loop, [] { return false; }, 0.3);
    report.check(changes == settled, "no callback once unscheduled");

    const auto start = Clock::now();
    source.reset();
    report.check(Clock::now() - start < std::chrono::seconds(3), "the watcher stops promptly");
    report.check(internet->flags() == kReachable, "a target outliving its source still reads");
    report.check(!internet->scheduleOnMainRunLoop(), "but cannot be scheduled");
  });
}

TEST(NetlinkReachability, UdpConnectFallbackFollowsRoutesInANamespace) {
  runInPrivateNetworkNamespace([](Namespace& ns) {
    ChildReport& report = ns.report;
    auto source = NetlinkReachabilitySource::withNetlinkSocketForTesting(ns.loop, ns.log, -1);
    report.check(ns.log.count("[ZV]:Reachability: netlink is not available; reading the network through UDP "
                              "route lookups") == 1,
                 "logs the fallback");
    auto internet = source->targetForAddress(ipv4({0, 0, 0, 0}));
    auto linkLocal = source->targetForAddress(ipv4({169, 254, 0, 0}));
    report.check(internet->flags() == 0u, "no default route: not reachable");
    report.check(linkLocal->flags() == 0u, "no link-local address yet");
    report.check(source->targetForAddress(ipv4({10, 77, 0, 9}))->flags() == kReachable, "on-link address routed");

    report.check(ns.addDefaultRoute(), "default route added");
    report.check(internet->flags() == kReachable, "default route: reachable");
    report.check(ns.addLinkLocalAddress(), "link-local address added");
    report.check(linkLocal->flags() == (kReachable | kIsDirect), "link-local network: reachable and direct");

    // Without netlink the watcher reads the scheduled targets every two seconds.
    int changes = 0;
    internet->setCallback([&] { ++changes; });
    report.check(internet->scheduleOnMainRunLoop(), "scheduled");
    report.check(ns.deleteDefaultRoute(), "default route deleted");
    report.check(waitUntil(ns.loop, [&] { return changes == 1; }), "callback after the route went");
    report.check(internet->flags() == 0u, "not reachable again");
  });
}

TEST(NetlinkReachability, WatchesTheSocketGivenForTesting) {
  runInPrivateNetworkNamespace([](Namespace& ns) {
    ChildReport& report = ns.report;
    int pair[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, pair) != 0) {
      report.check(false, "socket pair");
      return;
    }
    auto source = NetlinkReachabilitySource::withNetlinkSocketForTesting(ns.loop, ns.log, pair[0]);
    auto internet = source->targetForAddress(ipv4({0, 0, 0, 0}));
    int changes = 0;
    internet->setCallback([&] { ++changes; });
    report.check(internet->scheduleOnMainRunLoop(), "scheduled");

    // The kernel's own announcement does not reach the given socket: no reading, no change.
    report.check(ns.addDefaultRoute(), "default route added");
    waitUntil(ns.loop, [] { return false; }, 0.3);
    report.check(changes == 0, "nothing read before a message arrives");
    const char message[] = "any message";
    report.check(::send(pair[1], message, sizeof(message), 0) == sizeof(message), "message sent");
    report.check(waitUntil(ns.loop, [&] { return changes == 1; }), "a message makes the watcher read again");

    // A socket that closes is given up, not spun on.
    ::close(pair[1]);
    report.check(waitUntil(ns.loop, [&] { return ns.log.lines().size() == 1; }, 2.0), "socket failure logged");
    report.check(ns.log.count("[ZV]:Reachability: the netlink socket failed; reading the network every 2 "
                              "seconds instead") == 1,
                 "falls back to reading every two seconds");
  });
}

// No default route, as in a container or on CI: a host whose endpoint is on loopback still
// pings, over the real platform, and the collector records it.
TEST(NetlinkReachability, ALoopbackEndpointIsReachedWithoutADefaultRoute) {
  runInPrivateNetworkNamespace([](Namespace& ns) {
    integration::LocalHttpsServer server;
    integration::TempDirectory dir;
    LinuxPlatform::Options options;
    options.endpoint = "https://127.0.0.1:" + std::to_string(server.port()) + "/collect";
    options.caFile = server.caFile();
    options.storePath = dir.file("zelvo.sqlite");
    auto platform = std::make_shared<LinuxPlatform>(options);
    auto tracker = ZVTracker::create(platform);
    tracker->startTrackerWithAccountID(12345, std::string("com.example.news"));
    tracker->trackView(std::make_shared<SimpleView>(Size{375, 667}), std::string("/a"), std::string("A"));
    ns.report.check(server.waitForRequests(1, std::chrono::seconds(10)), "the view's ping reached the collector");
    const auto requests = server.requests();
    ns.report.check(!requests.empty() && requests[0].path == "/collect/ping" &&
                        requests[0].query.find("g=12345") != std::string::npos,
                    "the ping went to the endpoint's path with its query");
    // The tracker goes before the platform whose loop its last tasks ran on.
    platform->mainRunLoop().runAndWait([] {});
    tracker.reset();
  });
}

}  // namespace
}  // namespace zelvo::linux_platform
