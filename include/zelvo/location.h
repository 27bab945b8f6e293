#pragma once

#include "zelvo/export.h"

namespace zelvo {

// A geographic position in degrees.
struct ZELVO_EXPORT Location {
  double latitude = 0.0;
  double longitude = 0.0;
};

}  // namespace zelvo
