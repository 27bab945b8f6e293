// The process-wide objects: the installed platform, the shared tracker made on it, and that
// tracker's configuration, which ZelvoConfig::getInstance() hands out. They sit above the
// tracker and compose it, so the configuration and the other components, below, never reach up.
#include <mutex>

#include "process/default_platform.h"
#include "process/process_objects.h"
#include "tracker/tracker_access.h"
#include "tracker/tracker_internal.h"
#include "zelvo/zv_capture_events.h"

namespace zelvo {
namespace {

// The class-wide re-entrant lock: it guards the process-wide platform and tracker. Re-entrant
// because building the tracker may ask for the shared tracker again (its log gate).
std::recursive_mutex& classLock() {
  static std::recursive_mutex lock;
  return lock;
}

std::shared_ptr<Platform>& processPlatform() {
  static std::shared_ptr<Platform> platform;
  return platform;
}

std::shared_ptr<ZVTracker>& processTracker() {
  static std::shared_ptr<ZVTracker> tracker;
  return tracker;
}

}  // namespace

bool installPlatform(std::shared_ptr<Platform> platform) {
  std::lock_guard lock(classLock());
  if (processPlatform() == nullptr && platform != nullptr) {
    processPlatform() = std::move(platform);
    return true;
  }
  // Said at error severity past any log gate: the host believes its options are in force.
  // The refused platform's own sink is the one the host chose for it.
  LogSink* sink = platform ? &platform->logSink() : processPlatform() ? &processPlatform()->logSink() : nullptr;
  if (sink != nullptr) {
    sink->write(LogSeverity::kError,
                platform ? "[ZV]:installPlatform refused: the process-wide tracker already runs on the platform "
                           "installed or made first; install yours before the first sharedTracker()"
                         : "[ZV]:installPlatform refused: the platform is null");
  }
  return false;
}

std::shared_ptr<Platform> installedPlatform() {
  std::lock_guard lock(classLock());
  if (!processPlatform()) processPlatform() = makeDefaultPlatform();
  return processPlatform();
}

std::shared_ptr<ZVTracker> ZVTracker::sharedTracker() {
  std::lock_guard lock(classLock());
  if (!processTracker()) processTracker() = create(installedPlatform());
  return processTracker();
}

// The process-wide configuration is the shared tracker's own, fetched through that tracker's
// collection switch and logged through its gate.
std::shared_ptr<ZelvoConfig> ZelvoConfig::getInstance() {
  return TrackerAccess::internal(*ZVTracker::sharedTracker()).configuration();
}

void abandonProcessWideObjects() {
  std::lock_guard lock(classLock());
  new std::shared_ptr<ZVTracker>(std::move(processTracker()));
  new std::shared_ptr<Platform>(std::move(processPlatform()));
}

void ZVCaptureEvents::initializeEventsCapturing() { initializeEventsCapturing(*installedPlatform()); }

std::string ZVTracker::getUserAgent() { return userAgentForModel(installedPlatform()->deviceInfo().modelName()); }

}  // namespace zelvo
