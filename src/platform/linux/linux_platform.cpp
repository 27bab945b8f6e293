#include "zelvo/linux/linux_platform.h"

#include <variant>

#include "platform/linux/endpoint.h"
#include "platform/linux/host_http_client.h"
#include "platform/portable/io_thread.h"
#include "platform/portable/reachability_choice.h"
#include "zelvo/linux/stderr_log_sink.h"
#include "zelvo/portable/thread_run_loop.h"

namespace zelvo::linux_platform {

// Hosts built against 1.0 allocate LinuxPlatform themselves and read configurationError()
// and hostScreen() inline at 1.0's offsets: its size is part of libzelvo.so.1 (the ABI gate
// does not see a member that grows in place, as a shared_ptr in place of a unique_ptr would).
#if defined(__x86_64__) && defined(__GLIBCXX__)
static_assert(sizeof(LinuxPlatform) == 688, "LinuxPlatform must keep the size of libzelvo 1.0");
#endif

LinuxPlatform::LinuxPlatform(portable::HostPlatformOptions options)
    : log_(options.logSink ? std::move(options.logSink) : std::make_shared<StderrLogSink>()),
      runLoop_(options.mainRunLoop ? std::move(options.mainRunLoop) : std::make_shared<portable::ThreadRunLoop>()),
      io_(std::make_unique<std::shared_ptr<IoThread>>(std::make_shared<IoThread>())),
      consentRequired_(options.consentRequired) {
  if (options.modelName) device_.setModelName(*options.modelName);
  if (options.applicationIdentifier) device_.setApplicationIdentifier(options.applicationIdentifier);
  std::optional<std::string> storePath = options.storePath;
  if (!storePath) {
    if (auto identifier = device_.applicationIdentifier()) storePath = SqliteStore::defaultPath(*identifier);
  }
  store_ = std::make_unique<SqliteStore>(*log_, storePath, options.storeWriteDelay, *io_);
  if (options.httpClient) {
    auto host = std::make_unique<HostHttpClient>(std::move(options.httpClient), options.endpoint);
    configurationError_ = host->configurationError();
    if (configurationError_) log_->write(LogSeverity::kError, "[ZV]:HTTP client sends nothing: " + *configurationError_);
    http_ = std::move(host);
  } else {
    CurlHttpClient::Options http;
    http.endpoint = options.endpoint;
    http.caFile = std::move(options.caFile);
    http.connectTo = std::move(options.connectTo);
    http.proxy = std::move(options.proxy);
    http.requestTimeout = options.requestTimeout;
    http.connectTimeout = options.connectTimeout;
    http.log = log_.get();
    auto curl = std::make_unique<CurlHttpClient>(std::move(http), *io_);
    configurationError_ = curl->configurationError();
    http_ = std::move(curl);
  }
  makeReachabilitySource(options);
}

void LinuxPlatform::makeReachabilitySource(const portable::HostPlatformOptions& options) {
  bool loopbackEndpoint = false;
  if (options.endpoint) {
    auto endpoint = Endpoint::parse(*options.endpoint);
    const auto* parsed = std::get_if<Endpoint>(&endpoint);
    loopbackEndpoint = parsed != nullptr && parsed->isLoopback();
  }
  reachability_ = portable::chooseReachabilitySource(options, loopbackEndpoint, *log_, configurationError_, [&] {
    return std::make_shared<NetlinkReachabilitySource>(*runLoop_, *log_, *io_, executor_);
  });
}

LinuxPlatform::~LinuxPlatform() {
  reachability_.reset();
  http_.reset();
  store_.reset();
}

}  // namespace zelvo::linux_platform
