#pragma once

// ThreadExecutor calls no OS API and lives in zelvo/portable/thread_executor.h; this name is kept for hosts
// written against the Linux platform.
#include "zelvo/portable/thread_executor.h"

namespace zelvo::linux_platform {
using portable::ThreadExecutor;
}  // namespace zelvo::linux_platform
