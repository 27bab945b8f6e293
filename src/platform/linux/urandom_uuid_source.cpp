#include "zelvo/linux/urandom_uuid_source.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include "platform/common/clock_random.h"

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

}  // namespace

std::array<uint8_t, 16> UrandomUuidSource::newUuidBytes() {
  std::array<uint8_t, 16> bytes{};
  if (!fillFromKernel(bytes.data(), bytes.size())) {
    fillFromClock(bytes.data(), bytes.size(), static_cast<uint64_t>(getpid()));
  }
  bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
  return bytes;
}

}  // namespace zelvo::linux_platform
