#pragma once

// ExternalRunLoop calls no OS API and lives in zelvo/portable/external_run_loop.h; this name is kept for hosts
// written against the Linux platform.
#include "zelvo/portable/external_run_loop.h"

namespace zelvo::linux_platform {
using portable::ExternalRunLoop;
}  // namespace zelvo::linux_platform
