#pragma once

#include <cmath>
#include <cstdint>

namespace zelvo {

// A floating value as the unsigned 32-bit integer a ping sends, truncated toward zero: negative
// values and NaN give 0, values beyond the range give its maximum, as the float-to-integer
// conversion of arm64 does (a plain cast would be undefined).
inline uint32_t truncateToUInt32(double value) {
  if (!(value > 0.0)) return 0;
  if (value >= 4294967296.0) return UINT32_MAX;
  return static_cast<uint32_t>(value);
}

}  // namespace zelvo
