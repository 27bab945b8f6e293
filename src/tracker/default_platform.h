#pragma once

#include <memory>

#include "zelvo/platform/platform.h"

namespace zelvo {

// The platform the process-wide tracker uses when the host installs none: the Linux one.
std::shared_ptr<Platform> makeDefaultPlatform();

}  // namespace zelvo
