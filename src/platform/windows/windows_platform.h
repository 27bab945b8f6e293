#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/windows/bcrypt_uuid_source.h"
#include "platform/windows/windows_calendar.h"
#include "platform/windows/windows_clock.h"
#include "platform/windows/windows_device_info.h"
#include "zelvo/platform/notification_center.h"
#include "zelvo/portable/host_platform.h"
#include "zelvo/portable/thread_executor.h"

namespace zelvo::portable {
class IoThread;
class SqliteStore;
}  // namespace zelvo::portable

namespace zelvo::windows_platform {

class WinHttpClient;

// The real platform on Windows: WinHTTP for HTTPS (the certificate checked before anything is
// sent), SQLite for the store in %LOCALAPPDATA%, the network list manager for reachability,
// the system's clock, time zone and random numbers. Hosts make it with makeHostPlatform().
//
// Threads it adds to the process: the main run loop's (none when the host passes its own
// loop), one I/O thread (the store's commits, the reachability poll), and the HTTP client's.
// The background executor starts a thread only while it has work. Destruction joins them.
// Thread: the accessors are safe from any thread.
class WindowsPlatform : public portable::HostPlatform {
 public:
  using Options = portable::HostPlatformOptions;
  explicit WindowsPlatform(Options options = {});
  ~WindowsPlatform() override;
  WindowsPlatform(const WindowsPlatform&) = delete;
  WindowsPlatform& operator=(const WindowsPlatform&) = delete;

  Clock& clock() override { return clock_; }
  Calendar& calendar() override { return calendar_; }
  RunLoop& mainRunLoop() override { return *runLoop_; }
  Executor& backgroundExecutor() override { return executor_; }
  NotificationCenter& notificationCenter() override { return notifications_; }
  KeyValueStore* store() override;
  HttpClient& httpClient() override;
  ReachabilitySource& reachabilitySource() override { return *reachability_; }
  UuidSource& uuidSource() override { return uuids_; }
  DeviceInfo& deviceInfo() override { return device_; }
  Screen& screen() override { return screen_; }
  EventDispatch& eventDispatch() override { return events_; }
  LogSink& logSink() override { return *log_; }
  bool consentRequired() const override { return consentRequired_; }

  const std::optional<std::string>& configurationError() const override { return configurationError_; }
  portable::HostScreen& hostScreen() override { return screen_; }

 private:
  void makeReachabilitySource(const Options& options, bool loopbackEndpoint);

  // Declared in the order of construction; destruction runs backwards, so the threads that
  // call into the other services (reachability, HTTP, store, executor, loop) stop first.
  std::shared_ptr<LogSink> log_;
  WindowsClock clock_;
  WindowsCalendar calendar_;
  WindowsDeviceInfo device_;
  portable::HostScreen screen_;
  BcryptUuidSource uuids_;
  NotificationCenter notifications_;
  EventDispatch events_;
  std::shared_ptr<RunLoop> runLoop_;
  portable::ThreadExecutor executor_;
  std::shared_ptr<portable::IoThread> io_;
  const bool consentRequired_;
  std::unique_ptr<portable::SqliteStore> store_;
  std::unique_ptr<WinHttpClient> http_;
  std::shared_ptr<ReachabilitySource> reachability_;
  std::optional<std::string> configurationError_;
};

}  // namespace zelvo::windows_platform
