#include <mutex>

#include "common/default_platform.h"
#include "tracker/tracker_access.h"
#include "tracker/tracker_internal.h"

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
  if (processPlatform() || !platform) return false;
  processPlatform() = std::move(platform);
  return true;
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

std::shared_ptr<ZelvoConfig> ZelvoConfig::getInstance() { 
  return TrackerAccess::internal(*ZVTracker::sharedTracker()).configuration();
}

std::string ZVTracker::getUserAgent() { return userAgentForModel(installedPlatform()->deviceInfo().modelName()); }

}  // namespace zelvo
