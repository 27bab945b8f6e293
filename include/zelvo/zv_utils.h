#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "zelvo/export.h"

namespace zelvo {

// Helpers of the identity tokens. Thread: any; no state.
class ZELVO_EXPORT ZVUtils {
 public:
  // Base64 with the alphabet A-Z a-z 0-9 "_" "-" (62 is "_", 63 is "-") and "_" as the
  // padding character, so a padded "_" and digit 62 look alike; tokens depend on exactly this
  // form. No bytes give "". `bytes` may be null when `n` is 0.
  static std::string base64forData(const uint8_t* bytes, std::size_t n);
  static std::string base64forData(std::span<const uint8_t> bytes);
};

}  // namespace zelvo
