#include "zelvo/linux/system_clock.h"

#include <time.h>

namespace zelvo::linux_platform {

double SystemClock::now() const {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  // Subtracting in whole seconds first keeps the nanoseconds' precision in the double.
  constexpr time_t kEpoch2001 = static_cast<time_t>(kSecondsFrom1970To2001);
  return static_cast<double>(ts.tv_sec - kEpoch2001) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

}  // namespace zelvo::linux_platform
