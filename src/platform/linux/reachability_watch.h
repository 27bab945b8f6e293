#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/linux/route_probe.h"
#include "platform/linux/target_state.h"
#include "zelvo/platform/run_loop.h"

namespace zelvo::linux_platform {

// The part of a reachability source that its targets, its watcher thread and host-name
// resolutions share: reading a target's flags, the scheduled targets, and announcing their
// changes on the main run loop. Once closed (the source is gone) it never touches the run
// loop again; reading flags keeps working.
//
// Lock order: resolverMutex_, then recheckMutex_, then a TargetState's mutex, then mutex_.
// Callbacks run with no lock held. Thread: any, except where noted.
class ReachabilityWatch : public std::enable_shared_from_this<ReachabilityWatch> {
 public:
  // Host names are resolved on `resolver`, which must outlive close().
  ReachabilityWatch(RunLoop& mainLoop, Executor& resolver, std::unique_ptr<RouteProbe> probe);

  // The target's flags now. A host name answers from its last resolution (0 before the
  // first) and, until closed, starts a new resolution in the background.
  std::optional<uint32_t> currentFlags(const std::shared_ptr<TargetState>& state);
  // Starts announcing the target's changes; false once closed. Thread: main.
  bool schedule(const std::shared_ptr<TargetState>& state);
  // Stops announcing; once it returns, the target's callback is not called again. Thread: main.
  void unschedule(const std::shared_ptr<TargetState>& state);
  // Reads every scheduled target again and announces those whose flags changed; host names
  // are resolved again too. Called by the watcher thread when the network may have changed.
  void recheckScheduled();
  // No announcement is queued after this returns.
  void close();

 private:
  std::optional<uint32_t> readFlags(TargetState& state);
  void startResolution(const std::shared_ptr<TargetState>& state);
  void recheck(const std::shared_ptr<TargetState>& state);
  void announce(const std::shared_ptr<TargetState>& state);

  RunLoop& mainLoop_;
  Executor& resolver_;
  const std::unique_ptr<RouteProbe> probe_;
  // Held while a resolution is handed to the executor, so that once close() returns the
  // executor is never asked again and may go away. An executor that runs the task at once
  // runs it under this lock only.
  std::mutex resolverMutex_;
  // Serialises read-and-compare, so that an older reading never replaces a newer one.
  std::mutex recheckMutex_;
  std::mutex mutex_;
  bool closed_ = false;                                 // guarded by mutex_
  std::vector<std::shared_ptr<TargetState>> scheduled_;  // guarded by mutex_
};

}  // namespace zelvo::linux_platform
