#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zelvo/platform/http_client.h"
#include "zelvo/platform/log_sink.h"
#include "zelvo/platform/reachability_source.h"
#include "zelvo/platform/run_loop.h"
#include "zelvo/export.h"

namespace zelvo::portable {

// Where the library learns whether the network is up. While it is down the heartbeat
// sends no ping (and counts the skip in the tracker's status).
enum class ReachabilityChoice {
  kSystem,           // the operating system's own view of the network (on Linux its routes)
  kAlwaysReachable,  // never asks; every ping is tried
  kHost,             // the host's own source, HostPlatformOptions::reachabilitySource
};

// How long the store gathers changes before it writes them.
inline constexpr std::chrono::milliseconds kDefaultStoreWriteDelay{1000};

// What a host chooses about the platform whatever the operating system: each OS's platform
// takes these (makeHostPlatform), and gives every option the meaning written here.
struct ZELVO_EXPORT HostPlatformOptions {
  // The store's file; by default zelvo.sqlite in the application's data directory (on Linux
  // the XDG one).
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
  // The proxy ("http://proxy:3128", "socks5h://..."); not given: the system's or the
  // environment's settings apply; "": no proxy whatever they say.
  std::optional<std::string> proxy;
  // Limits of each HTTPS request: the whole request (instead of the library's 5 seconds for a
  // ping and 60 for the configuration) and the connection phase (by default the HTTP
  // client's own).
  std::optional<std::chrono::milliseconds> requestTimeout;
  std::optional<std::chrono::milliseconds> connectTimeout;
  // The host's own HTTP client (see zelvo/platform/http_client.h for what it must do), in
  // place of the platform's (curl on Linux): requests then go the way the host's own go, and
  // the library connects nowhere itself (on Linux, kSystem reachability still reads the
  // kernel's routes through rtnetlink and a UDP probe that sends nothing; kAlwaysReachable or
  // kHost open no socket at all). The endpoint still applies (the platform moves each request
  // onto it) and so does the library's URL check; caFile, connectTo, proxy and the timeouts
  // are the platform client's and are then the host client's business. Null: the platform's.
  std::shared_ptr<HttpClient> httpClient;
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
  std::chrono::milliseconds storeWriteDelay = kDefaultStoreWriteDelay;
  // Whether the reader must agree before anything is stored or sent (see
  // ZVTracker::giveConsent()).
  bool consentRequired = false;
};

}  // namespace zelvo::portable
