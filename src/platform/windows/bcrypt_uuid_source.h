#pragma once

#include "zelvo/platform/uuid_source.h"

namespace zelvo::windows_platform {

// Version-4 UUIDs from the system's random number generator (BCryptGenRandom). Thread: any.
class BcryptUuidSource : public UuidSource {
 public:
  std::array<uint8_t, 16> newUuidBytes() override;
};

}  // namespace zelvo::windows_platform
