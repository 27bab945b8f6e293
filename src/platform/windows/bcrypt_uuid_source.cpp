#include "platform/windows/bcrypt_uuid_source.h"

#include <windows.h>
// After windows.h, which it needs.
#include <bcrypt.h>

#include "platform/common/clock_random.h"

namespace zelvo::windows_platform {

std::array<uint8_t, 16> BcryptUuidSource::newUuidBytes() {
  std::array<uint8_t, 16> bytes{};
  if (!BCRYPT_SUCCESS(BCryptGenRandom(nullptr, bytes.data(), static_cast<ULONG>(bytes.size()),
                                      BCRYPT_USE_SYSTEM_PREFERRED_RNG))) {
    fillFromClock(bytes.data(), bytes.size(), GetCurrentProcessId());
  }
  bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
  return bytes;
}

}  // namespace zelvo::windows_platform
