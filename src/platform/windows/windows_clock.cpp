#include "platform/windows/windows_clock.h"

#include <windows.h>

#include <cstdint>

namespace zelvo::windows_platform {

double WindowsClock::now() const {
  FILETIME time{};
  GetSystemTimePreciseAsFileTime(&time);
  const uint64_t ticks = (static_cast<uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
  // FILETIME counts 100 ns ticks since 1601; whole seconds are subtracted first so the double
  // keeps the ticks' precision.
  constexpr uint64_t kTicksPerSecond = 10'000'000;
  constexpr uint64_t kSecondsFrom1601To2001 = 12'622'780'800ULL;
  const int64_t seconds = static_cast<int64_t>(ticks / kTicksPerSecond) - static_cast<int64_t>(kSecondsFrom1601To2001);
  return static_cast<double>(seconds) + static_cast<double>(ticks % kTicksPerSecond) * 1e-7;
}

}  // namespace zelvo::windows_platform
