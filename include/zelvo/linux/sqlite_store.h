#pragma once

// SqliteStore runs on every OS the library supports and lives in zelvo/portable/sqlite_store.h;
// this name is kept for hosts written against the Linux platform.
#include "zelvo/portable/sqlite_store.h"

namespace zelvo::linux_platform {
using portable::SqliteStore;
}  // namespace zelvo::linux_platform
