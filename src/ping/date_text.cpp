#include "ping/date_text.h"

#include <chrono>
#include <cmath>

#include "common/format.h"
#include "zelvo/platform/clock.h"

namespace zelvo {

std::string describeDate(double secondsSince2001) {
  // About ±28,000 years around 1970: inside the ±32,767 years of std::chrono::year.
  constexpr double kLimit = 9e11;
  double since1970 = std::floor(secondsSince2001 + kSecondsFrom1970To2001);
  if (!(std::fabs(since1970) < kLimit)) return formatPosix("%f", secondsSince2001);

  using namespace std::chrono;
  sys_seconds instant{seconds(static_cast<int64_t>(since1970))};
  sys_days day = floor<days>(instant);
  year_month_day date{day};
  hh_mm_ss time{instant - day};
  return formatPosix("%04d-%02u-%02u %02d:%02d:%02d +0000", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                     static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                     static_cast<int>(time.seconds().count()));
}

}  // namespace zelvo
