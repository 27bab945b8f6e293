#pragma once

#include "zelvo/platform/clock.h"
#include "zelvo/export.h"

namespace zelvo::linux_platform {

// The system's wall clock (CLOCK_REALTIME): it follows the user's and NTP's corrections,
// as the dates the library keeps must. Thread: any.
class ZELVO_EXPORT SystemClock : public Clock {
 public:
  double now() const override;
};

}  // namespace zelvo::linux_platform
