#pragma once

#include <array>
#include <cstdint>

namespace zelvo {

// Fresh random (version-4) UUIDs. Thread: any.
class UuidSource {
 public:
  virtual ~UuidSource() = default;
  // The 16 bytes of a new UUID, in their canonical order.
  virtual std::array<uint8_t, 16> newUuidBytes() = 0;
};

}  // namespace zelvo
