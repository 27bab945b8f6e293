#include "platform/windows/bcrypt_uuid_source.h"

#include <windows.h>
// After windows.h, which it needs.
#include <bcrypt.h>

#include <atomic>
#include <chrono>
#include <cstring>

namespace zelvo::windows_platform {
namespace {

// Only where the system refuses random bytes: the library's tokens need to be unique, not
// secret, so a time- and counter-based mix will do.
void fillFromClock(uint8_t* data, size_t size) {
  static std::atomic<uint64_t> counter{0};
  uint64_t state = static_cast<uint64_t>(std::chrono::system_clock::now().time_since_epoch().count()) ^
                   (static_cast<uint64_t>(GetCurrentProcessId()) << 32) ^ counter.fetch_add(0x9E3779B97F4A7C15ULL);
  for (size_t i = 0; i < size; i += sizeof(uint64_t)) {
    uint64_t z = (state += 0x9E3779B97F4A7C15ULL);  // splitmix64
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    z ^= z >> 31;
    std::memcpy(data + i, &z, std::min(sizeof z, size - i));
  }
}

}  // namespace

std::array<uint8_t, 16> BcryptUuidSource::newUuidBytes() {
  std::array<uint8_t, 16> bytes{};
  if (!BCRYPT_SUCCESS(BCryptGenRandom(nullptr, bytes.data(), static_cast<ULONG>(bytes.size()),
                                      BCRYPT_USE_SYSTEM_PREFERRED_RNG))) {
    fillFromClock(bytes.data(), bytes.size());
  }
  bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
  return bytes;
}

}  // namespace zelvo::windows_platform
