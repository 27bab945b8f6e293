#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/common/posix_tz_rule.h"
#include "zelvo/platform/calendar.h"

namespace zelvo::windows_platform {

// The calendar in a Windows time zone, with the rules Windows keeps for each year
// (GetTimeZoneInformationForYear), days around a daylight-saving change included. Each
// year's rule is read as the equivalent POSIX rule, so local midnight is found exactly as on
// Linux. Thread: any; the zone is fixed once made.
class WindowsCalendar : public Calendar {
 public:
  // The system's zone when the calendar is made (under Wine: the process's TZ).
  WindowsCalendar();
  // A zone by its Windows key name ("W. Europe Standard Time"); nothing when there is none.
  static std::optional<WindowsCalendar> forZone(const std::wstring& keyName);

  double startOfDay(double instant) const override;

  // The POSIX rule equivalent to `zone` in effect all year; nothing when Windows gives none.
  static std::optional<PosixTzRule> ruleOf(const TIME_ZONE_INFORMATION& zone, int year);

 private:
  explicit WindowsCalendar(const DYNAMIC_TIME_ZONE_INFORMATION& zone) : zone_(zone) {}
  PosixTzRule ruleOfYear(int year) const;
  int32_t offsetAt(int64_t unixSeconds) const;
  std::vector<OffsetChange> offsetsBetween(int64_t from, int64_t to) const;

  DYNAMIC_TIME_ZONE_INFORMATION zone_{};
};

}  // namespace zelvo::windows_platform
