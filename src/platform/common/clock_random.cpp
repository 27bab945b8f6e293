#include "platform/common/clock_random.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>

namespace zelvo {

void fillFromClock(uint8_t* data, std::size_t size, uint64_t processId) {
  static std::atomic<uint64_t> counter{0};
  uint64_t state = static_cast<uint64_t>(std::chrono::system_clock::now().time_since_epoch().count()) ^
                   (processId << 32) ^ counter.fetch_add(0x9E3779B97F4A7C15ULL);
  for (std::size_t i = 0; i < size; i += sizeof(uint64_t)) {
    uint64_t z = (state += 0x9E3779B97F4A7C15ULL);  // splitmix64
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    z ^= z >> 31;
    std::memcpy(data + i, &z, std::min(sizeof z, size - i));
  }
}

}  // namespace zelvo
