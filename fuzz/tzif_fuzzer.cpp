// TZif files, then the zone they make at instants from the edges of time to now.
#include <cmath>
#include <string_view>

#include "platform/common/time_zone.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto zone = zelvo::TimeZone::fromTzif({reinterpret_cast<const char*>(data), size});
  if (!zone) return 0;
  for (double instant : {-1e300, -1e13, -2e9, 0.0, 8e8, 1.8e9, 4.2e9, 1e13, double{INFINITY}, double{NAN}}) {
    zone->utcOffsetAt(instant);
    zone->startOfDay(instant);
  }
  return 0;
}
