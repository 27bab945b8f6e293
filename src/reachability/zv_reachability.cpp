#include "zelvo/zv_reachability.h"

#include <new>
#include <utility>

namespace zelvo {

namespace {

// The name is a literal the hosts observe; it is not one of the exported constants.
constexpr const char* kReachabilityChangedNotification = "kZVNetworkReachabilityChangedNotification";

Ipv4SocketAddress ipv4Address(std::array<uint8_t, 4> address) {
  Ipv4SocketAddress result;
  result.address = address;
  return result;
}

}  // namespace

namespace bits = reachability_flags;

ZVReachability::ZVReachability(Platform& platform, std::unique_ptr<ReachabilityTarget> target,
                               bool localWiFiRef)
    : platform_(platform), localWiFiRef_(localWiFiRef), reachabilityRef_(std::move(target)) {}

ZVReachability::~ZVReachability() { stopNotifier(); }

std::shared_ptr<ZVReachability> ZVReachability::make(Platform& platform,
                                                     std::unique_ptr<ReachabilityTarget> target,
                                                     bool localWiFiRef) {
  if (!target) return nullptr;
  // An allocation failure answers nullptr like a refused target, never an exception.
  auto* monitor = new (std::nothrow) ZVReachability(platform, std::move(target), localWiFiRef);
  return std::shared_ptr<ZVReachability>(monitor);
}

std::shared_ptr<ZVReachability> ZVReachability::reachabilityWithHostName(Platform& platform,
                                                                         const std::string& hostName) {
  return make(platform, platform.reachabilitySource().targetForHostName(hostName), false);
}

std::shared_ptr<ZVReachability> ZVReachability::reachabilityWithAddress(Platform& platform,
                                                                        const Ipv4SocketAddress& address) {
  return make(platform, platform.reachabilitySource().targetForAddress(address), false);
}

std::shared_ptr<ZVReachability> ZVReachability::reachabilityForInternetConnection(Platform& platform) {
  return reachabilityWithAddress(platform, ipv4Address({0, 0, 0, 0}));
}

std::shared_ptr<ZVReachability> ZVReachability::reachabilityForLocalWiFi(Platform& platform) {
  return make(platform, platform.reachabilitySource().targetForAddress(ipv4Address({169, 254, 0, 0})),
              true);
}

bool ZVReachability::startNotifier() {
  if (!reachabilityRef_) return false;
  // The callback keeps only the centre and the monitor's identity: the target promises no
  // callback once unscheduled, and the destructor unschedules before the monitor goes.
  NotificationCenter& center = platform_.notificationCenter();
  const void* object = this;
  if (!reachabilityRef_->setCallback(
          [&center, object] { center.post(kReachabilityChangedNotification, object); })) {
    return false;
  }
  return reachabilityRef_->scheduleOnMainRunLoop();
}

void ZVReachability::stopNotifier() {
  if (reachabilityRef_) reachabilityRef_->unscheduleFromMainRunLoop();
}

ZVReachability::NetworkStatus ZVReachability::currentReachabilityStatus() {
  const std::optional<uint32_t> flags = reachabilityRef_ ? reachabilityRef_->flags() : std::nullopt;
  if (!flags) return kStatusNotReachable;
  return localWiFiRef_ ? localWiFiStatusForFlags(*flags) : networkStatusForFlags(*flags);
}

bool ZVReachability::connectionRequired() {
  const std::optional<uint32_t> flags = reachabilityRef_ ? reachabilityRef_->flags() : std::nullopt;
  return flags && (*flags & bits::kConnectionRequired) != 0;
}

ZVReachability::NetworkStatus ZVReachability::networkStatusForFlags(uint32_t flags) {
  if ((flags & bits::kReachable) == 0) return kStatusNotReachable;
  NetworkStatus status = (flags & bits::kConnectionRequired) == 0 ? kStatusReachable : kStatusNotReachable;
  // A connection the system brings up by itself, without the user, counts as reachable.
  if ((flags & (bits::kConnectionOnDemand | bits::kConnectionOnTraffic)) != 0 &&
      (flags & bits::kInterventionRequired) == 0) {
    status = kStatusReachable;
  }
  if ((flags & bits::kIsWWAN) != 0) status = kStatusReachable;
  return status;
}

ZVReachability::NetworkStatus ZVReachability::localWiFiStatusForFlags(uint32_t flags) {
  const uint32_t wanted = bits::kReachable | bits::kIsDirect;
  return (flags & wanted) == wanted ? kStatusReachable : kStatusNotReachable;
}

}  // namespace zelvo
