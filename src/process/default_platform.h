#pragma once

#include <memory>

#include "zelvo/platform/platform.h"

namespace zelvo {

// The platform the process-wide tracker uses when the host installs none. The core only
// declares it; the platform the library is built with defines it: the Linux platform in the
// zelvo library (src/platform/linux/default_platform.cpp), beside makeHostPlatform
// (zelvo/portable/host_platform.h), the same platform with a host's options. The core's unit
// tests, which link no Linux platform, define their own.
std::shared_ptr<Platform> makeDefaultPlatform();

}  // namespace zelvo
