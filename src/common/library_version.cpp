#include "zelvo/version.h"

namespace zelvo {

// Compiled into the library, so a host sees the version it runs with, not the one it was built
// against.
const char* libraryVersion() noexcept { return ZELVO_VERSION_STRING; }

}  // namespace zelvo
