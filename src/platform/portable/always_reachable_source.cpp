#include "zelvo/portable/always_reachable_source.h"

namespace zelvo::portable {
namespace {

class AlwaysReachableTarget : public ReachabilityTarget {
 public:
  std::optional<uint32_t> flags() override { return reachability_flags::kReachable | reachability_flags::kIsDirect; }
  // Nothing ever changes, so a callback is kept nowhere and never called.
  bool setCallback(std::function<void()>) override { return true; }
  bool scheduleOnMainRunLoop() override { return true; }
  void unscheduleFromMainRunLoop() override {}
};

}  // namespace

std::unique_ptr<ReachabilityTarget> AlwaysReachableSource::targetForAddress(const Ipv4SocketAddress&) {
  return std::make_unique<AlwaysReachableTarget>();
}

std::unique_ptr<ReachabilityTarget> AlwaysReachableSource::targetForHostName(const std::string&) {
  return std::make_unique<AlwaysReachableTarget>();
}

}  // namespace zelvo::portable
