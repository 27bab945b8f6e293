#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace zelvo {

// A change of a zone's UTC offset: from `at` (Unix seconds) on, local time is UTC + `utcOffset`.
struct OffsetChange {
  int64_t at = 0;
  int32_t utcOffset = 0;
};

// A POSIX TZ rule ("CET-1CEST,M3.5.0,M10.5.0/3"): how a zone keeps time every year. The tz
// database puts one in the footer of each file for the instants after its last transition.
// Thread: a parsed rule is immutable; share it freely.
class PosixTzRule {
 public:
  // Nothing when the text is not a rule.
  static std::optional<PosixTzRule> parse(std::string_view text);

  // Seconds east of UTC at `unixSeconds`.
  int32_t utcOffsetAt(int64_t unixSeconds) const;
  // The offset changes in (from, to], in time order.
  std::vector<OffsetChange> changesBetween(int64_t from, int64_t to) const;

 private:
  // A day of the year: Jn (1-365, February 29 never counted), n (0-365) or Mm.w.d.
  struct Day {
    enum class Kind { kJulianNoLeap, kZeroBased, kMonthWeekDay } kind = Kind::kMonthWeekDay;
    int day = 0;  // n for the first two kinds, the weekday (0 = Sunday) for the last
    int month = 0;
    int week = 0;
  };
  struct Daylight {
    int32_t utcOffset = 0;
    Day startDay;
    int32_t startTime = 7200;  // local standard time of day, may be negative or past 24 h
    Day endDay;
    int32_t endTime = 7200;  // local daylight time of day
  };

  // The start and end of daylight time in `year`, as UTC instants.
  void changesOfYear(int64_t year, std::vector<OffsetChange>& out) const;

  int32_t stdOffset_ = 0;
  std::optional<Daylight> daylight_;
};

}  // namespace zelvo
