#pragma once

#include <memory>
#include <optional>
#include <string>

#include "zelvo/platform/platform.h"
#include "zelvo/portable/host_platform_options.h"
#include "zelvo/portable/host_screen.h"
#include "zelvo/export.h"

namespace zelvo {

namespace portable {

// The real platform of the operating system the library is built for, as a host sees it
// without naming that system: the services, plus what the host tells the platform and what
// it may ask it. Thread: every member is safe from any thread.
class ZELVO_EXPORT HostPlatform : public Platform {
 public:
  // Why the options cannot be used as given (a malformed endpoint, kHost without a source),
  // or nothing.
  virtual const std::optional<std::string>& configurationError() const = 0;
  // The host tells the library its screen here.
  virtual HostScreen& hostScreen() = 0;
};

}  // namespace portable

// The platform of the operating system this library was built for, with the host's options
// (on Linux a linux_platform::LinuxPlatform). Install it before the first use of the shared
// tracker:
//
//   zelvo::installPlatform(zelvo::makeHostPlatform(options));
ZELVO_EXPORT std::shared_ptr<portable::HostPlatform> makeHostPlatform(portable::HostPlatformOptions options = {});

}  // namespace zelvo
