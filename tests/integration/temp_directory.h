#pragma once

#include "tls_support/temp_directory.h"

namespace zelvo::integration {

using tools::TempDirectory;

}  // namespace zelvo::integration
