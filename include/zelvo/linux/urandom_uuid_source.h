#pragma once

#include "zelvo/platform/uuid_source.h"
#include "zelvo/export.h"

namespace zelvo::linux_platform {

// Version-4 UUIDs from the kernel's random source (getrandom(2), the same pool as
// /dev/urandom), with the version and variant bits set. Thread: any.
class ZELVO_EXPORT UrandomUuidSource : public UuidSource {
 public:
  std::array<uint8_t, 16> newUuidBytes() override;
};

}  // namespace zelvo::linux_platform
