#pragma once

// HostScreen calls no OS API and lives in zelvo/portable/host_screen.h; this name is kept for hosts
// written against the Linux platform.
#include "zelvo/portable/host_screen.h"

namespace zelvo::linux_platform {
using portable::HostScreen;
}  // namespace zelvo::linux_platform
