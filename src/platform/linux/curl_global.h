#pragma once

namespace zelvo::linux_platform {

// Initialises libcurl once per process; whether that succeeded. Never undone: the host may
// use curl itself, and cleaning up under it would break it. Thread: any.
bool ensureCurlGlobalInit();

}  // namespace zelvo::linux_platform
