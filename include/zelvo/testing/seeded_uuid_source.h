#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <mutex>

#include "zelvo/platform/uuid_source.h"
#include "zelvo/export.h"

namespace zelvo::testing {

// UUID bytes: given ones first, in order, then bytes from a seeded generator with the
// version-4 bits set.
class ZELVO_EXPORT SeededUuidSource : public UuidSource {
 public:
  explicit SeededUuidSource(uint64_t seed = 0) : state_(seed) {}
  std::array<uint8_t, 16> newUuidBytes() override;
  void enqueue(const std::array<uint8_t, 16>& bytes);

 private:
  std::mutex mutex_;
  uint64_t state_;
  std::deque<std::array<uint8_t, 16>> queued_;
};

}  // namespace zelvo::testing
