#pragma once

#include <array>
#include <cstdint>

#include "zelvo/export.h"

namespace zelvo {

// Fresh random (version-4) UUIDs. Thread: any.
class ZELVO_EXPORT UuidSource {
 public:
  virtual ~UuidSource() = default;
  // The 16 bytes of a new UUID, in their canonical order.
  virtual std::array<uint8_t, 16> newUuidBytes() = 0;
};

}  // namespace zelvo
