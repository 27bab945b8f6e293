// The constructor of LinuxPlatform as libzelvo 1.0 exported it. Its options had no httpClient
// then, and a host built against 1.0 hands over an options object of that layout (by address,
// as the ABI passes a class with a destructor), so the symbol must not reach today's
// constructor directly, which reads the larger HostPlatformOptions. This definition carries
// the 1.0 symbol, reads the 1.0 layout and constructs the platform from its fields.
#include <chrono>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "zelvo/linux/linux_platform.h"

namespace zelvo::linux_platform {

// LinuxPlatformOptions as 1.0 laid it out: it must never change.
struct LinuxPlatformOptions10 {
  std::optional<std::string> storePath;
  std::optional<std::string> endpoint;
  std::optional<std::string> caFile;
  std::vector<std::string> connectTo;
  std::optional<std::string> proxy;
  std::optional<std::chrono::milliseconds> requestTimeout;
  std::optional<std::chrono::milliseconds> connectTimeout;
  ReachabilityChoice reachability;
  std::shared_ptr<ReachabilitySource> reachabilitySource;
  std::shared_ptr<LogSink> logSink;
  std::optional<std::string> modelName;
  std::optional<std::string> applicationIdentifier;
  std::shared_ptr<RunLoop> mainRunLoop;
  std::chrono::milliseconds storeWriteDelay;
};

// The complete-object and base-object constructors (C1, C2) of LinuxPlatform(LinuxPlatformOptions):
// the object's address, then the options' address. The caller destroys its options object.
extern "C++" ZELVO_EXPORT void constructLinuxPlatform10(LinuxPlatform* self, LinuxPlatformOptions10* options) asm(
    "_ZN5zelvo14linux_platform13LinuxPlatformC1ENS0_20LinuxPlatformOptionsE");
extern "C++" ZELVO_EXPORT void constructLinuxPlatform10Base(LinuxPlatform* self, LinuxPlatformOptions10* options) asm(
    "_ZN5zelvo14linux_platform13LinuxPlatformC2ENS0_20LinuxPlatformOptionsE");

void constructLinuxPlatform10(LinuxPlatform* self, LinuxPlatformOptions10* options) {
  portable::HostPlatformOptions now;
  now.storePath = std::move(options->storePath);
  now.endpoint = std::move(options->endpoint);
  now.caFile = std::move(options->caFile);
  now.connectTo = std::move(options->connectTo);
  now.proxy = std::move(options->proxy);
  now.requestTimeout = options->requestTimeout;
  now.connectTimeout = options->connectTimeout;
  now.reachability = options->reachability;
  now.reachabilitySource = std::move(options->reachabilitySource);
  now.logSink = std::move(options->logSink);
  now.modelName = std::move(options->modelName);
  now.applicationIdentifier = std::move(options->applicationIdentifier);
  now.mainRunLoop = std::move(options->mainRunLoop);
  now.storeWriteDelay = options->storeWriteDelay;
  new (self) LinuxPlatform(std::move(now));
}

void constructLinuxPlatform10Base(LinuxPlatform* self, LinuxPlatformOptions10* options) { constructLinuxPlatform10(self, options); }

}  // namespace zelvo::linux_platform
