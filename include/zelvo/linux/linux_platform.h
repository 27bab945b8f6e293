#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zelvo/linux/curl_http_client.h"
#include "zelvo/linux/host_screen.h"
#include "zelvo/linux/linux_device_info.h"
#include "zelvo/linux/netlink_reachability_source.h"
#include "zelvo/linux/sqlite_store.h"
#include "zelvo/linux/system_calendar.h"
#include "zelvo/linux/system_clock.h"
#include "zelvo/linux/thread_executor.h"
#include "zelvo/linux/urandom_uuid_source.h"
#include "zelvo/portable/host_platform.h"
#include "zelvo/export.h"

namespace zelvo::portable {
class IoThread;
}  // namespace zelvo::portable

namespace zelvo::linux_platform {

using portable::IoThread;

// The reachability choice and the options are the same on every OS; these names are kept for
// hosts written against the Linux platform. The Linux platform has no options of its own yet.
using portable::ReachabilityChoice;
struct ZELVO_EXPORT LinuxPlatformOptions : portable::HostPlatformOptions {};

// The real platform on Linux: curl (or the host's HttpClient) for HTTPS, SQLite for the store, rtnetlink for
// reachability (ReachabilityChoice::kSystem: the kernel's routes, so a default route is
// needed), the system clock and time zone.
//
// Threads it adds to the process: the main run loop's (none when the host passes its own
// loop), and one I/O thread that runs the HTTP transfers, watches the network and commits the
// store. The background executor starts a thread only while it has work (the configuration
// fetch) and ends it when its queue is empty. Destruction joins every one of them. Install it before the first use of the shared
// tracker to change any of its options:
//
//   zelvo::installPlatform(std::make_shared<zelvo::linux_platform::LinuxPlatform>(options));
//
// Thread: the accessors are safe from any thread.
class ZELVO_EXPORT LinuxPlatform : public portable::HostPlatform {
 public:
  using Options = LinuxPlatformOptions;
  // Takes the options of every OS (a LinuxPlatformOptions is one). The 1.0 constructor, whose
  // options had no httpClient, is kept in the library for hosts built against 1.0.
  explicit LinuxPlatform(portable::HostPlatformOptions options = {});
  ~LinuxPlatform() override;
  LinuxPlatform(const LinuxPlatform&) = delete;
  LinuxPlatform& operator=(const LinuxPlatform&) = delete;

  Clock& clock() override { return clock_; }
  Calendar& calendar() override { return calendar_; }
  RunLoop& mainRunLoop() override { return *runLoop_; }
  Executor& backgroundExecutor() override { return executor_; }
  NotificationCenter& notificationCenter() override { return notifications_; }
  KeyValueStore* store() override { return store_.get(); }
  HttpClient& httpClient() override { return *http_; }
  ReachabilitySource& reachabilitySource() override { return *reachability_; }
  UuidSource& uuidSource() override { return uuids_; }
  DeviceInfo& deviceInfo() override { return device_; }
  Screen& screen() override { return screen_; }
  EventDispatch& eventDispatch() override { return events_; }
  LogSink& logSink() override { return *log_; }
  bool consentRequired() const override { return consentRequired_; }

  const std::optional<std::string>& configurationError() const override { return configurationError_; }
  HostScreen& hostScreen() override { return screen_; }
  // The host tells the library its device here.
  LinuxDeviceInfo& linuxDeviceInfo() { return device_; }

 private:
  void makeReachabilitySource(const portable::HostPlatformOptions& options);

  // Declared in the order of construction; destruction runs backwards, so the threads that
  // call into the other services (reachability, HTTP, store, executor, loop) stop first.
  std::shared_ptr<LogSink> log_;
  SystemClock clock_;
  SystemCalendar calendar_;
  LinuxDeviceInfo device_;
  HostScreen screen_;
  UrandomUuidSource uuids_;
  NotificationCenter notifications_;
  EventDispatch events_;
  std::shared_ptr<RunLoop> runLoop_;
  ThreadExecutor executor_;
  // The I/O thread's owner sits behind one pointer so that the consent policy fits in the 16
  // bytes that 1.0 gave this handle: every member keeps the offset hosts built against 1.0
  // read inline.
  std::unique_ptr<std::shared_ptr<IoThread>> io_;
  const bool consentRequired_;
  std::unique_ptr<SqliteStore> store_;
  std::unique_ptr<HttpClient> http_;
  std::shared_ptr<ReachabilitySource> reachability_;
  std::optional<std::string> configurationError_;
};

}  // namespace zelvo::linux_platform
