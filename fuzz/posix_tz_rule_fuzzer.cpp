// A TZif footer's POSIX rule, evaluated anywhere in the range the time-zone code passes it.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>

#include "platform/common/posix_tz_rule.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  const int64_t instant = input.ConsumeIntegralInRange<int64_t>(-10'000'000'000'000, 10'000'000'000'000);
  const auto rule = zelvo::PosixTzRule::parse(input.ConsumeRemainingBytesAsString());
  if (!rule) return 0;
  // An offset of a week or more is no zone's and would overflow the day arithmetic.
  if (std::abs(rule->utcOffsetAt(instant)) >= 7 * 86400) std::abort();
  int64_t last = instant;
  for (const auto& change : rule->changesBetween(instant, instant + 3 * 366 * 86400)) {
    // In (from, to], in time order; a period of daylight time may last no time at all.
    if (change.at <= instant || change.at < last) std::abort();
    last = change.at;
  }
  return 0;
}
