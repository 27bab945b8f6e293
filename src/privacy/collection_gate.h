#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "zelvo/consent.h"
#include "zelvo/platform/platform.h"

namespace zelvo {

// The host's collection switch and the reader's consent, put between a tracker and its
// platform: while the tracker may not collect, its store drops every write (removals still go
// through: erasing keeps nothing new) and its HTTP client refuses every request (pings and the
// configuration fetch alike), so nothing leaves the device and nothing new is kept, whatever
// the tracker's components do. It may collect while the switch is on and, where the platform
// requires consent, the reader has given it.
//
// The switch and the answer are kept in the real store, so they hold across launches: the
// switch is on unless the host turned it off, and the answer is unknown until the host
// records one. Every other service is the platform's own. Thread: any.
class CollectionGate : public Platform {
 public:
  // The store key of the switch (a boolean; missing means on).
  static constexpr const char* kCollectionEnabledKey = "__zv__CollectionEnabledKey";
  // The store key of the reader's answer (a boolean: true given, false revoked; missing
  // means not asked yet).
  static constexpr const char* kConsentGivenKey = "__zv__ConsentGivenKey";

  explicit CollectionGate(std::shared_ptr<Platform> platform);
  ~CollectionGate() override;

  bool enabled() const { return state_->enabled.load(); }
  // Stores the switch (durably) and applies it at once.
  void setEnabled(bool enabled);
  ConsentState consent() const { return state_->consent.load(); }
  // Stores the reader's answer (durably) and applies it at once.
  void setConsent(bool given);
  // Consent is required and not given: no identity may be made yet, even in memory.
  bool awaitingConsent() const { return state_->awaitingConsent(); }
  // Whether the tracker may collect now: the switch is on and consent is not awaited.
  bool collecting() const { return state_->collecting(); }
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
  bool consentRequired() const override { return state_->consentRequired; }

 private:
  // What the gate decides from; shared with the gated services.
  struct State {
    explicit State(bool required) : consentRequired(required) {}
    bool awaitingConsent() const { return consentRequired && consent.load() != ConsentState::kGiven; }
    bool collecting() const { return enabled.load() && !awaitingConsent(); }
    const bool consentRequired;
    std::atomic<bool> enabled{true};
    std::atomic<ConsentState> consent{ConsentState::kUnknown};
  };
  class GatedStore;
  class GatedHttpClient;

  // Writes `value` under `key` in the real store and makes it durable.
  void keep(const char* key, bool value);

  const std::shared_ptr<Platform> platform_;
  const std::shared_ptr<State> state_;
  std::unique_ptr<GatedStore> store_;
  std::unique_ptr<GatedHttpClient> http_;
};

}  // namespace zelvo
