#include <algorithm>

#include "zelvo/testing/scripted_reachability_source.h"

namespace zelvo::testing {
namespace {

// A target's own state, shared with the announcements posted for it: a target destroyed while
// one is pending leaves the announcement with nothing to call.
struct TargetState {
  explicit TargetState(bool linkLocal) : local(linkLocal) {}
  const bool local;
  std::mutex mutex;
  std::function<void()> callback;
  bool scheduled = false;

  // On the main thread, from a posted announcement.
  void announce() {
    std::function<void()> call;
    {
      std::lock_guard lock(mutex);
      if (!scheduled) return;
      call = callback;
    }
    if (call) call();
  }
};

}  // namespace

// Lock order: the source's mutex before a target's.
struct ScriptedReachabilitySource::Impl {
  explicit Impl(RunLoop& loop) : mainLoop(loop) {}

  RunLoop& mainLoop;
  mutable std::mutex mutex;
  std::optional<uint32_t> flags = reachability_flags::kReachable;
  std::optional<uint32_t> localFlags = reachability_flags::kReachable | reachability_flags::kIsDirect;
  bool refuse = false;
  std::vector<Ipv4SocketAddress> requested;
  std::vector<std::weak_ptr<TargetState>> targets;

  std::optional<uint32_t> flagsFor(bool local) const {
    std::lock_guard lock(mutex);
    return local ? localFlags : flags;
  }

  void setFlagsFor(bool local, std::optional<uint32_t> value) {
    std::vector<std::weak_ptr<TargetState>> toAnnounce;
    {
      std::lock_guard lock(mutex);
      std::optional<uint32_t>& current = local ? localFlags : flags;
      if (current == value) return;
      current = value;
      for (const auto& weak : targets) {
        auto target = weak.lock();
        if (!target || target->local != local) continue;
        std::lock_guard targetLock(target->mutex);
        if (target->scheduled) toAnnounce.push_back(weak);
      }
    }
    for (auto& weak : toAnnounce) {
      mainLoop.post([weak = std::move(weak)] {
        if (auto target = weak.lock()) target->announce();
      });
    }
  }
};

namespace {

class ScriptedTarget : public ReachabilityTarget {
 public:
  // `read` gives the current flags each time; it keeps the source's state alive.
  ScriptedTarget(std::shared_ptr<TargetState> state, std::function<std::optional<uint32_t>()> read)
      : state_(std::move(state)), read_(std::move(read)) {}
  ~ScriptedTarget() override { unscheduleFromMainRunLoop(); }

  std::optional<uint32_t> flags() override { return read_(); }

  bool setCallback(std::function<void()> onChange) override {
    std::lock_guard lock(state_->mutex);
    state_->callback = std::move(onChange);
    return true;
  }

  bool scheduleOnMainRunLoop() override {
    std::lock_guard lock(state_->mutex);
    state_->scheduled = true;
    return true;
  }

  void unscheduleFromMainRunLoop() override {
    std::lock_guard lock(state_->mutex);
    state_->scheduled = false;
  }

 private:
  std::shared_ptr<TargetState> state_;
  std::function<std::optional<uint32_t>()> read_;
};

}  // namespace

ScriptedReachabilitySource::ScriptedReachabilitySource(RunLoop& mainLoop) : impl_(std::make_shared<Impl>(mainLoop)) {}

ScriptedReachabilitySource::~ScriptedReachabilitySource() = default;

std::unique_ptr<ReachabilityTarget> ScriptedReachabilitySource::makeTarget(bool local) {
  auto state = std::make_shared<TargetState>(local);
  {
    std::lock_guard lock(impl_->mutex);
    if (impl_->refuse) return nullptr;
    std::erase_if(impl_->targets, [](const std::weak_ptr<TargetState>& t) { return t.expired(); });
    impl_->targets.push_back(state);
  }
  return std::make_unique<ScriptedTarget>(std::move(state), [impl = impl_, local] { return impl->flagsFor(local); });
}

std::unique_ptr<ReachabilityTarget> ScriptedReachabilitySource::targetForAddress(const Ipv4SocketAddress& address) {
  {
    std::lock_guard lock(impl_->mutex);
    impl_->requested.push_back(address);
  }
  constexpr std::array<uint8_t, 4> kLinkLocal{169, 254, 0, 0};
  return makeTarget(address.address == kLinkLocal);
}

std::unique_ptr<ReachabilityTarget> ScriptedReachabilitySource::targetForHostName(const std::string&) {
  return makeTarget(false);
}

void ScriptedReachabilitySource::setFlags(std::optional<uint32_t> flags) { impl_->setFlagsFor(false, flags); }

void ScriptedReachabilitySource::setLocalFlags(std::optional<uint32_t> flags) { impl_->setFlagsFor(true, flags); }

void ScriptedReachabilitySource::setRefuseTargets(bool refuse) {
  std::lock_guard lock(impl_->mutex);
  impl_->refuse = refuse;
}

std::vector<Ipv4SocketAddress> ScriptedReachabilitySource::requestedAddresses() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->requested;
}

}  // namespace zelvo::testing
