#include "process/default_platform.h"

#include "zelvo/linux/linux_platform.h"
#include "zelvo/portable/host_platform.h"

namespace zelvo {

std::shared_ptr<Platform> makeDefaultPlatform() { return std::make_shared<linux_platform::LinuxPlatform>(); }

std::shared_ptr<portable::HostPlatform> makeHostPlatform(portable::HostPlatformOptions options) {
  return std::make_shared<linux_platform::LinuxPlatform>(std::move(options));
}

}  // namespace zelvo
