#pragma once

#include <atomic>
#include <string>

#include "zelvo/testing/virtual_clock.h"
#include "zelvo/testing/zone_calendar.h"
#include "zelvo/testing/manual_run_loop.h"
#include "zelvo/testing/manual_executor.h"
#include "zelvo/testing/memory_store.h"
#include "zelvo/testing/scripted_http_client.h"
#include "zelvo/testing/scripted_reachability_source.h"
#include "zelvo/testing/seeded_uuid_source.h"
#include "zelvo/testing/fake_device_info.h"
#include "zelvo/testing/fake_screen.h"
#include "zelvo/testing/capturing_log_sink.h"
#include "zelvo/platform/platform.h"
#include "zelvo/export.h"

// The testing platform: deterministic, in-memory, virtual time. Every fake keeps its state
// per instance; nothing here is static. Hosts can use it to test their own integration. Each
// fake has a header of its own; this one includes them all.
namespace zelvo::testing {

// All of the above, as one platform. Starts at `start` seconds since 2001 on the calling
// thread, which becomes the main thread.
class ZELVO_EXPORT TestingPlatform : public Platform {
 public:
  explicit TestingPlatform(double start = 0.0, const std::string& zoneName = "UTC");
  ~TestingPlatform() override;

  Clock& clock() override { return clock_; }
  Calendar& calendar() override { return calendar_; }
  RunLoop& mainRunLoop() override { return runLoop_; }
  Executor& backgroundExecutor() override { return executor_; }
  NotificationCenter& notificationCenter() override { return notifications_; }
  KeyValueStore* store() override { return storeEnabled_ ? &store_ : nullptr; }
  HttpClient& httpClient() override { return http_; }
  ReachabilitySource& reachabilitySource() override { return reachability_; }
  UuidSource& uuidSource() override { return uuids_; }
  DeviceInfo& deviceInfo() override { return device_; }
  Screen& screen() override { return screen_; }
  EventDispatch& eventDispatch() override { return events_; }
  LogSink& logSink() override { return log_; }
  bool consentRequired() const override { return consentRequired_; }

  VirtualClock& virtualClock() { return clock_; }
  ManualRunLoop& runLoop() { return runLoop_; }
  ManualExecutor& executor() { return executor_; }
  MemoryStore& memoryStore() { return store_; }
  ScriptedHttpClient& http() { return http_; }
  ScriptedReachabilitySource& reachability() { return reachability_; }
  SeededUuidSource& uuids() { return uuids_; }
  FakeDeviceInfo& device() { return device_; }
  FakeScreen& fakeScreen() { return screen_; }
  CapturingLogSink& log() { return log_; }
  // Switches the calendar to another zone (the calendar object stays the same).
  void setTimeZone(const std::string& zoneName);
  // Without a store, store() answers nullptr.
  void setStoreEnabled(bool enabled) { storeEnabled_ = enabled; }
  // The host's consent policy; a tracker reads it when it is made, so set it before.
  void setConsentRequired(bool required) { consentRequired_ = required; }
  // Shorthand for runLoop().advance(seconds).
  void advance(double seconds) { runLoop_.advance(seconds); }

 private:
  // Members are destroyed in reverse order: the HTTP client, last here, joins its completion
  // thread first, while everything a completion may touch still exists.
  VirtualClock clock_;
  ZoneCalendar calendar_;
  ManualRunLoop runLoop_;
  ManualExecutor executor_;
  NotificationCenter notifications_;
  MemoryStore store_;
  std::atomic<bool> storeEnabled_{true};
  std::atomic<bool> consentRequired_{false};
  ScriptedReachabilitySource reachability_;
  SeededUuidSource uuids_;
  FakeDeviceInfo device_;
  FakeScreen screen_;
  EventDispatch events_;
  CapturingLogSink log_;
  ScriptedHttpClient http_;
};

}  // namespace zelvo::testing
