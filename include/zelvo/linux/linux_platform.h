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
#include "zelvo/export.h"

namespace zelvo::linux_platform {

class IoThread;

// Where the library learns whether the network is up. While it is down the heartbeat
// sends no ping (and counts the skip in the tracker's status).
enum class ReachabilityChoice {
  kSystem,           // the kernel's routes, through rtnetlink (a default route is needed)
  kAlwaysReachable,  // never asks; every ping is tried
  kHost,             // the host's own source, LinuxPlatformOptions::reachabilitySource
};

struct ZELVO_EXPORT LinuxPlatformOptions {
  // The store's file; by default zelvo.sqlite in the XDG data directory of the application.
  std::optional<std::string> storePath;
  // Where pings and the configuration go: a base URL "https://host[:port][/prefix]" in place
  // of the library's own hosts ("<endpoint>/ping?...", "<endpoint>/data/config.json").
  // A malformed endpoint makes the platform send nothing at all, logged at error severity
  // and readable from configurationError(); it never falls back to the library's hosts.
  std::optional<std::string> endpoint;
  // A CA bundle to trust instead of the system's (for a collector with a certificate of its
  // own), and curl-style "HOST:PORT:ADDR:PORT" mappings for special cases.
  std::optional<std::string> caFile;
  std::vector<std::string> connectTo;
  // curl's proxy ("http://proxy:3128", "socks5h://..."); not given: curl's environment
  // variables apply; "": no proxy whatever the environment says.
  std::optional<std::string> proxy;
  // Limits of each HTTPS request: the whole request (instead of the library's 5 seconds for a
  // ping and 60 for the configuration) and the connection phase (curl's default: 300 s).
  std::optional<std::chrono::milliseconds> requestTimeout;
  std::optional<std::chrono::milliseconds> connectTimeout;
  // The reachability source; kSystem counts an endpoint on a loopback address (127.0.0.0/8,
  // [::1], localhost) as always reachable, since no route is needed to reach it.
  ReachabilityChoice reachability = ReachabilityChoice::kSystem;
  // With kHost: the source to use (kept alive by the platform). Missing, the system's is used
  // and an error is logged.
  std::shared_ptr<ReachabilitySource> reachabilitySource;
  // Where log lines go; standard error when not given.
  std::shared_ptr<LogSink> logSink;
  std::optional<std::string> modelName;
  std::optional<std::string> applicationIdentifier;
  // The host's own main loop (for example an ExternalRunLoop driven from GLib or Qt); when
  // not given, the library runs a thread of its own as the main thread.
  std::shared_ptr<RunLoop> mainRunLoop;
  std::chrono::milliseconds storeWriteDelay = SqliteStore::kDefaultWriteDelay;
  // Whether the reader must agree before anything is stored or sent (see
  // ZVTracker::giveConsent()).
  bool consentRequired = false;
};

// The real platform on Linux: curl for HTTPS, SQLite for the store, rtnetlink for
// reachability, the system clock and time zone.
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
class ZELVO_EXPORT LinuxPlatform : public Platform {
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
  bool consentRequired() const override { return consentRequired_; }

  // Why the options cannot be used as given (a malformed endpoint, kHost without a source),
  // or nothing. Thread: any.
  const std::optional<std::string>& configurationError() const { return configurationError_; }

  // The host tells the library its screen and device here.
  HostScreen& hostScreen() { return screen_; }
  LinuxDeviceInfo& linuxDeviceInfo() { return device_; }

 private:
  void makeReachabilitySource(const Options& options);

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
  std::shared_ptr<IoThread> io_;
  const bool consentRequired_;
  std::unique_ptr<SqliteStore> store_;
  std::unique_ptr<CurlHttpClient> http_;
  std::shared_ptr<ReachabilitySource> reachability_;
  std::optional<std::string> configurationError_;
};

}  // namespace zelvo::linux_platform
