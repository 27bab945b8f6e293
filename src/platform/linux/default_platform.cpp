#include "common/default_platform.h"

#include "zelvo/linux/linux_platform.h"

namespace zelvo {

std::shared_ptr<Platform> makeDefaultPlatform() { return std::make_shared<linux_platform::LinuxPlatform>(); }

}  // namespace zelvo
