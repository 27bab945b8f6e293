#pragma once

namespace zelvo {

// A geographic position in degrees.
struct Location {
  double latitude = 0.0;
  double longitude = 0.0;
};

}  // namespace zelvo
