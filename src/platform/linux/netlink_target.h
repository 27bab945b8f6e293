#pragma once

#include <memory>

#include "platform/linux/reachability_watch.h"
#include "platform/linux/target_state.h"
#include "zelvo/platform/reachability_source.h"

namespace zelvo::linux_platform {

// A target of the Linux reachability source. It may outlive its source: it then still
// reads flags but can no longer be scheduled.
class NetlinkTarget : public ReachabilityTarget {
 public:
  NetlinkTarget(std::shared_ptr<ReachabilityWatch> watch, std::shared_ptr<TargetState> state)
      : watch_(std::move(watch)), state_(std::move(state)) {}
  ~NetlinkTarget() override { watch_->unschedule(state_); }

  std::optional<uint32_t> flags() override { return watch_->currentFlags(state_); }
  bool setCallback(std::function<void()> onChange) override;
  bool scheduleOnMainRunLoop() override { return watch_->schedule(state_); }
  void unscheduleFromMainRunLoop() override { watch_->unschedule(state_); }

 private:
  const std::shared_ptr<ReachabilityWatch> watch_;
  const std::shared_ptr<TargetState> state_;
};

}  // namespace zelvo::linux_platform
