#pragma once

#include <string>

namespace zelvo::linux_platform {

// The base name of the running program (from /proc/self/exe), or "" when it cannot be read.
std::string executableName();

}  // namespace zelvo::linux_platform
