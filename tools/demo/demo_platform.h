#pragma once

#include <memory>

#include "demo/scaled_time.h"
#include "zelvo/portable/always_reachable_source.h"
#include "zelvo/portable/host_platform.h"
#include "zelvo/platform/platform.h"

namespace zelvo::demo {

// The host platform with time sped up: its clock and its main run loop's timers run
// `factor` times faster, so the library's one-second heartbeat, 15-second ping period and
// 600-second lock-out pass in a fraction of the time. Everything else is the host platform's
// own, except reachability: every target is reachable, since the demo talks only to its
// collector on 127.0.0.1, which the machine's route to the internet says nothing about.
// Thread: the accessors are safe from any thread.
class DemoPlatform : public Platform {
 public:
  DemoPlatform(std::shared_ptr<portable::HostPlatform> host, double factor)
      : host_(std::move(host)), clock_(host_->clock(), factor), runLoop_(host_->mainRunLoop(), factor) {}

  ScaledClock& scaledClock() { return clock_; }

  Clock& clock() override { return clock_; }
  RunLoop& mainRunLoop() override { return runLoop_; }
  ReachabilitySource& reachabilitySource() override { return reachability_; }
  Calendar& calendar() override { return host_->calendar(); }
  Executor& backgroundExecutor() override { return host_->backgroundExecutor(); }
  NotificationCenter& notificationCenter() override { return host_->notificationCenter(); }
  KeyValueStore* store() override { return host_->store(); }
  HttpClient& httpClient() override { return host_->httpClient(); }
  UuidSource& uuidSource() override { return host_->uuidSource(); }
  DeviceInfo& deviceInfo() override { return host_->deviceInfo(); }
  Screen& screen() override { return host_->screen(); }
  EventDispatch& eventDispatch() override { return host_->eventDispatch(); }
  LogSink& logSink() override { return host_->logSink(); }
  bool consentRequired() const override { return host_->consentRequired(); }

 private:
  std::shared_ptr<portable::HostPlatform> host_;
  ScaledClock clock_;
  ScaledRunLoop runLoop_;
  portable::AlwaysReachableSource reachability_;
};

}  // namespace zelvo::demo
