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
#include "zelvo/platform/platform.h"

namespace zelvo::linux_platform {

struct LinuxPlatformOptions {
  // The store's file; by default zelvo.sqlite in the XDG data directory of the application.
  std::optional<std::string> storePath;
  // A CA bundle to trust instead of the system's, and curl-style "HOST:PORT:ADDR:PORT"
  // mappings: how the demo and tests reach a local collector under the real host name.
  std::optional<std::string> caFile;
  std::vector<std::string> connectTo;
  // Where log lines go; standard error when not given.
  std::shared_ptr<LogSink> logSink;
  std::optional<std::string> modelName;
  std::optional<std::string> applicationIdentifier;
  // The host's own main loop (for example an ExternalRunLoop driven from GLib or Qt); when
  // not given, the library runs a thread of its own as the main thread.
  std::shared_ptr<RunLoop> mainRunLoop;
  std::chrono::milliseconds storeWriteDelay = SqliteStore::kDefaultWriteDelay;
};

// The real platform on Linux: curl for HTTPS, SQLite for the store, rtnetlink for
// reachability, the system clock and time zone. Install it before the first use of the shared
// tracker to change any of its options:
//
//   zelvo::installPlatform(std::make_shared<zelvo::linux_platform::LinuxPlatform>(options));
//
// Thread: the accessors are safe from any thread.
class LinuxPlatform : public Platform {
 public:
  using Options = LinuxPlatformOptions;
  explicit LinuxPlatform(Options options = {});
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

  // The host tells the library its screen and device here.
  HostScreen& hostScreen() { return screen_; }
  LinuxDeviceInfo& linuxDeviceInfo() { return device_; }

 private:
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
  std::unique_ptr<SqliteStore> store_;
  std::unique_ptr<CurlHttpClient> http_;
  std::unique_ptr<NetlinkReachabilitySource> reachability_;
};

}  // namespace zelvo::linux_platform
