#pragma once

// ThreadRunLoop calls no OS API and lives in zelvo/portable/thread_run_loop.h; this name is kept for hosts
// written against the Linux platform.
#include "zelvo/portable/thread_run_loop.h"

namespace zelvo::linux_platform {
using portable::ThreadRunLoop;
}  // namespace zelvo::linux_platform
