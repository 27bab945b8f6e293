#include "zelvo/linux/urandom_uuid_source.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>

namespace zelvo::linux_platform {
namespace {

bool fillFromKernel(uint8_t* data, size_t size) {
  size_t filled = 0;
  while (filled < size) {
    const ssize_t got = getrandom(data + filled, size - filled, 0);
    if (got < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    filled += static_cast<size_t>(got);
  }
  return true;
}

// Only where the kernel refuses getrandom (a seccomp filter, a very old kernel): the
// library's tokens need to be unique, not secret, so a time- and counter-based mix will do.
void fillFromClock(uint8_t* data, size_t size) {
  static std::atomic<uint64_t> counter{0};
  uint64_t state = static_cast<uint64_t>(std::chrono::system_clock::now().time_since_epoch().count()) ^
                   (static_cast<uint64_t>(getpid()) << 32) ^ counter.fetch_add(0x9E3779B97F4A7C15ULL);
  for (size_t i = 0; i < size; i += sizeof(uint64_t)) {
    // splitmix64
    uint64_t z = (state += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    z ^= z >> 31;
    std::memcpy(data + i, &z, std::min(sizeof z, size - i));
  }
}

}  // namespace

std::array<uint8_t, 16> UrandomUuidSource::newUuidBytes() {
  std::array<uint8_t, 16> bytes{};
  if (!fillFromKernel(bytes.data(), bytes.size())) fillFromClock(bytes.data(), bytes.size());
  bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
  return bytes;
}

}  // namespace zelvo::linux_platform
