#pragma once

// AlwaysReachableSource calls no OS API and lives in zelvo/portable/always_reachable_source.h; this name is kept for hosts
// written against the Linux platform.
#include "zelvo/portable/always_reachable_source.h"

namespace zelvo::linux_platform {
using portable::AlwaysReachableSource;
}  // namespace zelvo::linux_platform
