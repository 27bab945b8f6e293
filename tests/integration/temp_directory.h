#pragma once

#include "common/temp_directory.h"

namespace zelvo::integration {

using tools::TempDirectory;

}  // namespace zelvo::integration
