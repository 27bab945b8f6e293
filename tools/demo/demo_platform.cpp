#include "demo/demo_platform.h"

namespace zelvo::demo {
namespace {

class AlwaysReachable : public ReachabilityTarget {
 public:
  std::optional<uint32_t> flags() override { return reachability_flags::kReachable | reachability_flags::kIsDirect; }
  // Nothing ever changes, so there is nothing to deliver.
  bool setCallback(std::function<void()>) override { return true; }
  bool scheduleOnMainRunLoop() override { return true; }
  void unscheduleFromMainRunLoop() override {}
};

}  // namespace

std::unique_ptr<ReachabilityTarget> LoopbackReachabilitySource::targetForAddress(const Ipv4SocketAddress&) {
  return std::make_unique<AlwaysReachable>();
}

std::unique_ptr<ReachabilityTarget> LoopbackReachabilitySource::targetForHostName(const std::string&) {
  return std::make_unique<AlwaysReachable>();
}

}  // namespace zelvo::demo
