#pragma once

#include "zelvo/export.h"

namespace zelvo {

// Seconds between 1970-01-01T00:00:00Z and 2001-01-01T00:00:00Z, the reference date of the
// library's own instants.
inline constexpr double kSecondsFrom1970To2001 = 978307200.0;

// The wall clock. Every instant the library keeps is a double of seconds since
// 2001-01-01T00:00:00Z; core code never reads the system clock itself.
// Thread: callable from any thread.
class ZELVO_EXPORT Clock {
 public:
  virtual ~Clock() = default;
  // Now, in seconds since 2001-01-01T00:00:00Z.
  virtual double now() const = 0;
  // Now, in seconds since 1970-01-01T00:00:00Z.
  double nowSince1970() const { return now() + kSecondsFrom1970To2001; }
};

}  // namespace zelvo
