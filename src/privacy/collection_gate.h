#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "zelvo/platform/platform.h"

namespace zelvo {

// The host's collection switch, put between a tracker and its platform: while collection is
// off, the tracker's store drops every write (removals still go through: erasing keeps nothing
// new) and its HTTP client refuses every request (pings and the configuration fetch alike), so
// nothing leaves the device and nothing new is kept, whatever the tracker's components do. The switch itself is kept in the real store, so
// it holds across launches; it is on unless the host turned it off.
//
// Every other service is the platform's own. Thread: any.
class CollectionGate : public Platform {
 public:
  // The store key of the switch (a boolean; missing means on).
  static constexpr const char* kCollectionEnabledKey = "__zv__CollectionEnabledKey";

  explicit CollectionGate(std::shared_ptr<Platform> platform);
  ~CollectionGate() override;

  bool enabled() const { return enabled_->load(); }
  // Stores the switch (durably) and applies it at once.
  void setEnabled(bool enabled);
  bool synchronize();

  Clock& clock() override { return platform_->clock(); }
  Calendar& calendar() override { return platform_->calendar(); }
  RunLoop& mainRunLoop() override { return platform_->mainRunLoop(); }
  Executor& backgroundExecutor() override { return platform_->backgroundExecutor(); }
  NotificationCenter& notificationCenter() override { return platform_->notificationCenter(); }
  KeyValueStore* store() override;
  HttpClient& httpClient() override;
  ReachabilitySource& reachabilitySource() override { return platform_->reachabilitySource(); }
  UuidSource& uuidSource() override { return platform_->uuidSource(); }
  DeviceInfo& deviceInfo() override { return platform_->deviceInfo(); }
  Screen& screen() override { return platform_->screen(); }
  EventDispatch& eventDispatch() override { return platform_->eventDispatch(); }
  LogSink& logSink() override { return platform_->logSink(); }

 private:
  class GatedStore;
  class GatedHttpClient;

  const std::shared_ptr<Platform> platform_;
  // Shared with the gated services.
  const std::shared_ptr<std::atomic<bool>> enabled_;
  std::unique_ptr<GatedStore> store_;
  std::unique_ptr<GatedHttpClient> http_;
};

}  // namespace zelvo
