#pragma once

#include <cstdint>

namespace zelvo {

// Whole-day arithmetic on Unix seconds, shared by the TZif reader and the POSIX rule.
inline constexpr int64_t kSecondsPerDay = 86400;

// Division rounding toward negative infinity: instants before 1970 fall on the right day.
constexpr int64_t floorDiv(int64_t a, int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }

}  // namespace zelvo
