#pragma once

#include <memory>

#include "demo/scaled_time.h"
#include "zelvo/linux/always_reachable_source.h"
#include "zelvo/linux/linux_platform.h"
#include "zelvo/platform/platform.h"

namespace zelvo::demo {

// The Linux platform with time sped up: its clock and its main run loop's timers run
// `factor` times faster, so the library's one-second heartbeat, 15-second ping period and
// 600-second lock-out pass in a fraction of the time. Everything else is the Linux platform's
// own, except reachability: every target is reachable, since the demo talks only to its
// collector on 127.0.0.1, which the machine's route to the internet says nothing about.
// Thread: the accessors are safe from any thread.
class DemoPlatform : public Platform {
 public:
  DemoPlatform(std::unique_ptr<linux_platform::LinuxPlatform> linux, double factor)
      : linux_(std::move(linux)), clock_(linux_->clock(), factor), runLoop_(linux_->mainRunLoop(), factor) {}

  ScaledClock& scaledClock() { return clock_; }

  Clock& clock() override { return clock_; }
  RunLoop& mainRunLoop() override { return runLoop_; }
  ReachabilitySource& reachabilitySource() override { return reachability_; }
  Calendar& calendar() override { return linux_->calendar(); }
  Executor& backgroundExecutor() override { return linux_->backgroundExecutor(); }
  NotificationCenter& notificationCenter() override { return linux_->notificationCenter(); }
  KeyValueStore* store() override { return linux_->store(); }
  HttpClient& httpClient() override { return linux_->httpClient(); }
  UuidSource& uuidSource() override { return linux_->uuidSource(); }
  DeviceInfo& deviceInfo() override { return linux_->deviceInfo(); }
  Screen& screen() override { return linux_->screen(); }
  EventDispatch& eventDispatch() override { return linux_->eventDispatch(); }
  LogSink& logSink() override { return linux_->logSink(); }
  bool consentRequired() const override { return linux_->consentRequired(); }

 private:
  std::unique_ptr<linux_platform::LinuxPlatform> linux_;
  ScaledClock clock_;
  ScaledRunLoop runLoop_;
  linux_platform::AlwaysReachableSource reachability_;
};

}  // namespace zelvo::demo
