#include "zelvo/linux/linux_platform.h"

#include "tracker/default_platform.h"
#include "zelvo/linux/stderr_log_sink.h"
#include "zelvo/linux/thread_run_loop.h"

namespace zelvo::linux_platform {

LinuxPlatform::LinuxPlatform(Options options)
    : log_(options.logSink ? std::move(options.logSink) : std::make_shared<StderrLogSink>()),
      runLoop_(options.mainRunLoop ? std::move(options.mainRunLoop) : std::make_shared<ThreadRunLoop>()) {
  if (options.modelName) device_.setModelName(*options.modelName);
  if (options.applicationIdentifier) device_.setApplicationIdentifier(options.applicationIdentifier);
  std::optional<std::string> storePath = options.storePath;
  if (!storePath) {
    if (auto identifier = device_.applicationIdentifier()) storePath = SqliteStore::defaultPath(*identifier);
  }
  store_ = std::make_unique<SqliteStore>(*log_, storePath, options.storeWriteDelay);
  CurlHttpClient::Options http;
  http.caFile = std::move(options.caFile);
  http.connectTo = std::move(options.connectTo);
  http.log = log_.get();
  http_ = std::make_unique<CurlHttpClient>(std::move(http));
  reachability_ = std::make_unique<NetlinkReachabilitySource>(*runLoop_, *log_);
}

LinuxPlatform::~LinuxPlatform() {
  reachability_.reset();
  http_.reset();
  store_.reset();
}

}  // namespace zelvo::linux_platform

namespace zelvo {

std::shared_ptr<Platform> makeDefaultPlatform() { return std::make_shared<linux_platform::LinuxPlatform>(); }

}  // namespace zelvo
