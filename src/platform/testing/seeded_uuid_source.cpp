#include "zelvo/testing/seeded_uuid_source.h"

namespace zelvo::testing {
namespace {

// splitmix64: a tiny generator whose every seed gives a well-mixed, reproducible sequence.
uint64_t splitMix64(uint64_t& state) {
  uint64_t z = (state += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

}  // namespace

std::array<uint8_t, 16> SeededUuidSource::newUuidBytes() {
  std::lock_guard lock(mutex_);
  if (!queued_.empty()) {
    auto bytes = queued_.front();
    queued_.pop_front();
    return bytes;
  }
  std::array<uint8_t, 16> bytes{};
  for (int half = 0; half < 2; ++half) {
    const uint64_t word = splitMix64(state_);
    for (int i = 0; i < 8; ++i) bytes[half * 8 + i] = static_cast<uint8_t>(word >> (8 * i));
  }
  bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
  return bytes;
}

void SeededUuidSource::enqueue(const std::array<uint8_t, 16>& bytes) {
  std::lock_guard lock(mutex_);
  queued_.push_back(bytes);
}

}  // namespace zelvo::testing
