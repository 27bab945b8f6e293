#include "platform/windows/windows_platform.h"

#include <variant>

#include "platform/portable/io_thread.h"
#include "platform/portable/reachability_choice.h"
#include "platform/windows/stderr_log_sink.h"
#include "platform/windows/windows_endpoint.h"
#include "platform/windows/windows_reachability_source.h"
#include "platform/windows/winhttp_client.h"
#include "zelvo/portable/sqlite_store.h"
#include "zelvo/portable/thread_run_loop.h"

namespace zelvo::windows_platform {

WindowsPlatform::WindowsPlatform(Options options)
    : log_(options.logSink ? std::move(options.logSink) : std::make_shared<StderrLogSink>()),
      runLoop_(options.mainRunLoop ? std::move(options.mainRunLoop) : std::make_shared<portable::ThreadRunLoop>()),
      io_(std::make_shared<portable::IoThread>()),
      consentRequired_(options.consentRequired) {
  if (options.modelName) device_.setModelName(*options.modelName);
  if (options.applicationIdentifier) device_.setApplicationIdentifier(options.applicationIdentifier);
  std::optional<std::string> storePath = options.storePath;
  if (!storePath) {
    if (auto identifier = device_.applicationIdentifier()) storePath = portable::SqliteStore::defaultPath(*identifier);
  }
  store_ = std::make_unique<portable::SqliteStore>(*log_, storePath, options.storeWriteDelay, io_);
  WinHttpClient::Options http;
  http.endpoint = options.endpoint;
  http.caFile = options.caFile;
  http.connectTo = options.connectTo;
  http.proxy = options.proxy;
  http.requestTimeout = options.requestTimeout;
  http.connectTimeout = options.connectTimeout;
  http.log = log_.get();
  // Not yet on Windows: sending through WinHTTP instead would go against the host's choice.
  if (options.httpClient) http.refusal = "a host's own HTTP client (httpClient) is not supported on Windows yet";
  http_ = std::make_unique<WinHttpClient>(std::move(http));
  configurationError_ = http_->configurationError();
  bool loopbackEndpoint = false;
  if (options.endpoint) {
    auto endpoint = WindowsEndpoint::parse(*options.endpoint);
    const auto* parsed = std::get_if<WindowsEndpoint>(&endpoint);
    loopbackEndpoint = parsed != nullptr && parsed->loopback;
  }
  reachability_ = portable::chooseReachabilitySource(options, loopbackEndpoint, *log_, configurationError_, [&] {
    return std::make_shared<WindowsReachabilitySource>(*runLoop_, io_);
  });
}

WindowsPlatform::~WindowsPlatform() {
  reachability_.reset();
  http_.reset();
  store_.reset();
}

KeyValueStore* WindowsPlatform::store() { return store_.get(); }

HttpClient& WindowsPlatform::httpClient() { return *http_; }

}  // namespace zelvo::windows_platform
