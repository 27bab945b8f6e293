#include "process/default_platform.h"

#include "platform/windows/windows_platform.h"
#include "zelvo/portable/host_platform.h"

namespace zelvo {

std::shared_ptr<Platform> makeDefaultPlatform() { return std::make_shared<windows_platform::WindowsPlatform>(); }

std::shared_ptr<portable::HostPlatform> makeHostPlatform(portable::HostPlatformOptions options) {
  return std::make_shared<windows_platform::WindowsPlatform>(std::move(options));
}

}  // namespace zelvo
