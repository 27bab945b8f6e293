#include "platform/linux/reachability_watch.h"

#include <algorithm>

#include "platform/linux/host_resolution.h"

namespace zelvo::linux_platform {

ReachabilityWatch::ReachabilityWatch(RunLoop& mainLoop, Executor& resolver, std::unique_ptr<RouteProbe> probe)
    : mainLoop_(mainLoop), resolver_(resolver), probe_(std::move(probe)) {}

std::optional<uint32_t> ReachabilityWatch::currentFlags(const std::shared_ptr<TargetState>& state) {
  if (state->kind == TargetState::Kind::kHostName) startResolution(state);
  return readFlags(*state);
}

std::optional<uint32_t> ReachabilityWatch::readFlags(TargetState& state) {
  switch (state.kind) {
    case TargetState::Kind::kInternet:
      return probe_->internetFlags();
    case TargetState::Kind::kLinkLocal:
      return probe_->linkLocalFlags();
    case TargetState::Kind::kAddress:
      return probe_->addressFlags(state.address);
    case TargetState::Kind::kHostName:
      break;
  }
  std::vector<IpAddress> addresses;
  {
    std::lock_guard lock(state.mutex);
    if (!state.resolvedAddresses) return 0u;
    addresses = *state.resolvedAddresses;
  }
  // Reachable through any of its addresses; unreadable only when no address could be asked.
  std::optional<uint32_t> flags;
  for (const IpAddress& address : addresses) {
    if (const auto answer = probe_->addressFlags(address)) flags = flags.value_or(0) | *answer;
  }
  return addresses.empty() ? std::optional<uint32_t>(0u) : flags;
}

void ReachabilityWatch::startResolution(const std::shared_ptr<TargetState>& state) {
  {
    std::lock_guard lock(state->mutex);
    if (state->resolving) return;
    state->resolving = true;
  }
  // getaddrinfo can take as long as the resolver's timeouts: blocking work, so it goes to the
  // background executor.
  bool handed = false;
  {
    std::lock_guard resolverLock(resolverMutex_);
    bool closed = false;
    {
      std::lock_guard lock(mutex_);
      closed = closed_;
    }
    if (!closed) {
      resolver_.execute([self = shared_from_this(), state] {
        std::vector<IpAddress> addresses = resolveHostName(state->hostName);
        {
          std::lock_guard lock(state->mutex);
          state->resolvedAddresses = std::move(addresses);
          state->resolving = false;
        }
        self->recheck(state);
      });
      handed = true;
    }
  }
  if (!handed) {
    std::lock_guard lock(state->mutex);
    state->resolving = false;
  }
}

bool ReachabilityWatch::schedule(const std::shared_ptr<TargetState>& state) {
  {
    std::lock_guard lock(mutex_);
    if (closed_) return false;
  }
  if (state->kind == TargetState::Kind::kHostName) startResolution(state);
  std::lock_guard recheckLock(recheckMutex_);
  const std::optional<uint32_t> flags = readFlags(*state);
  {
    std::lock_guard lock(state->mutex);
    state->scheduled = true;
    state->lastFlags = flags;
  }
  std::lock_guard lock(mutex_);
  if (std::find(scheduled_.begin(), scheduled_.end(), state) == scheduled_.end()) scheduled_.push_back(state);
  return true;
}

void ReachabilityWatch::unschedule(const std::shared_ptr<TargetState>& state) {
  {
    std::lock_guard lock(state->mutex);
    state->scheduled = false;
  }
  std::lock_guard lock(mutex_);
  std::erase(scheduled_, state);
}

void ReachabilityWatch::recheckScheduled() {
  std::vector<std::shared_ptr<TargetState>> targets;
  {
    std::lock_guard lock(mutex_);
    targets = scheduled_;
  }
  for (const auto& state : targets) {
    if (state->kind == TargetState::Kind::kHostName) startResolution(state);
    recheck(state);
  }
}

void ReachabilityWatch::recheck(const std::shared_ptr<TargetState>& state) {
  std::lock_guard recheckLock(recheckMutex_);
  const std::optional<uint32_t> flags = readFlags(*state);
  {
    std::lock_guard lock(state->mutex);
    if (!state->scheduled || flags == state->lastFlags) return;
    state->lastFlags = flags;
  }
  announce(state);
}

void ReachabilityWatch::announce(const std::shared_ptr<TargetState>& state) {
  std::lock_guard lock(mutex_);
  if (closed_) return;
  // The task re-checks on the main thread, where unschedule runs, so a target unscheduled
  // after the post is never called back.
  mainLoop_.post([weakState = std::weak_ptr<TargetState>(state)] {
    const auto state = weakState.lock();
    if (!state) return;
    std::function<void()> callback;
    {
      std::lock_guard lock(state->mutex);
      if (!state->scheduled) return;
      callback = state->callback;
    }
    if (callback) callback();
  });
}

void ReachabilityWatch::close() {
  std::lock_guard resolverLock(resolverMutex_);
  std::lock_guard lock(mutex_);
  closed_ = true;
  scheduled_.clear();
}

}  // namespace zelvo::linux_platform
