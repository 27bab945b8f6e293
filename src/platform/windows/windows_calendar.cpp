#include "platform/windows/windows_calendar.h"

#include <algorithm>
#include <cstdio>

#include "platform/common/time_zone.h"

namespace zelvo::windows_platform {
namespace {

constexpr int64_t kSecondsFrom1601To1970 = 11'644'473'600;

int yearOf(int64_t unixSeconds) {
  const uint64_t ticks = static_cast<uint64_t>(unixSeconds + kSecondsFrom1601To1970) * 10'000'000ULL;
  FILETIME file{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  SYSTEMTIME civil{};
  if (!FileTimeToSystemTime(&file, &civil)) return 1970;
  return civil.wYear;
}

int64_t startOfYear(int year) {
  SYSTEMTIME civil{};
  civil.wYear = static_cast<WORD>(year);
  civil.wMonth = 1;
  civil.wDay = 1;
  FILETIME file{};
  SystemTimeToFileTime(&civil, &file);
  const uint64_t ticks = (static_cast<uint64_t>(file.dwHighDateTime) << 32) | file.dwLowDateTime;
  return static_cast<int64_t>(ticks / 10'000'000ULL) - kSecondsFrom1601To1970;
}

// Minutes west of UTC as a POSIX offset ("-1:00" for one hour east).
std::string offsetText(LONG minutesWest) {
  const LONG magnitude = minutesWest < 0 ? -minutesWest : minutesWest;
  char text[16];
  std::snprintf(text, sizeof text, "%s%ld:%02ld", minutesWest < 0 ? "-" : "", magnitude / 60, magnitude % 60);
  return text;
}

// When a change happens: "Mm.w.d" for Windows's "the w-th weekday d of month m" (w = 5: the
// last), the zero-based day of the year for a fixed date; then the local time of day.
std::string changeText(const SYSTEMTIME& when, int year) {
  char day[32];
  if (when.wYear == 0) {
    std::snprintf(day, sizeof day, "M%u.%u.%u", when.wMonth, when.wDay, when.wDayOfWeek);
  } else {
    SYSTEMTIME civil = when;
    civil.wYear = static_cast<WORD>(year);
    civil.wHour = civil.wMinute = civil.wSecond = civil.wMilliseconds = 0;
    FILETIME file{};
    SystemTimeToFileTime(&civil, &file);
    const int64_t unix =
        static_cast<int64_t>(((static_cast<uint64_t>(file.dwHighDateTime) << 32) | file.dwLowDateTime) / 10'000'000ULL) -
        kSecondsFrom1601To1970;
    std::snprintf(day, sizeof day, "%lld", static_cast<long long>((unix - startOfYear(year)) / 86400));
  }
  // Windows writes "the last instant of the day" as 23:59:59.999.
  const long seconds = when.wHour * 3600L + when.wMinute * 60L + when.wSecond + (when.wMilliseconds >= 500 ? 1 : 0);
  char text[64];
  std::snprintf(text, sizeof text, "%s/%ld:%02ld:%02ld", day, seconds / 3600, seconds / 60 % 60, seconds % 60);
  return text;
}

}  // namespace

WindowsCalendar::WindowsCalendar() {
  if (GetDynamicTimeZoneInformation(&zone_) == TIME_ZONE_ID_INVALID) zone_ = {};
}

std::optional<WindowsCalendar> WindowsCalendar::forZone(const std::wstring& keyName) {
  DYNAMIC_TIME_ZONE_INFORMATION zone{};
  for (DWORD index = 0; EnumDynamicTimeZoneInformation(index, &zone) == ERROR_SUCCESS; ++index) {
    if (keyName == zone.TimeZoneKeyName) return WindowsCalendar(zone);
  }
  return std::nullopt;
}

std::optional<PosixTzRule> WindowsCalendar::ruleOf(const TIME_ZONE_INFORMATION& zone, int year) {
  std::string text = "STD" + offsetText(zone.Bias + zone.StandardBias);
  if (zone.DaylightDate.wMonth != 0 && zone.StandardDate.wMonth != 0) {
    text += "DST" + offsetText(zone.Bias + zone.DaylightBias) + "," + changeText(zone.DaylightDate, year) + "," +
            changeText(zone.StandardDate, year);
  }
  return PosixTzRule::parse(text);
}

PosixTzRule WindowsCalendar::ruleOfYear(int year) const {
  TIME_ZONE_INFORMATION rules{};
  auto zone = zone_;
  if (!GetTimeZoneInformationForYear(static_cast<USHORT>(year), &zone, &rules)) {
    // A zone Windows has no key for (Wine's for Australia/Lord_Howe): its one set of rules.
    rules.Bias = zone_.Bias;
    rules.StandardBias = zone_.StandardBias;
    rules.StandardDate = zone_.StandardDate;
    rules.DaylightBias = zone_.DaylightBias;
    rules.DaylightDate = zone_.DaylightDate;
  }
  if (auto rule = ruleOf(rules, year)) return *rule;
  return *PosixTzRule::parse("UTC0");
}

int32_t WindowsCalendar::offsetAt(int64_t unixSeconds) const {
  return ruleOfYear(yearOf(unixSeconds)).utcOffsetAt(unixSeconds);
}

std::vector<OffsetChange> WindowsCalendar::offsetsBetween(int64_t from, int64_t to) const {
  std::vector<OffsetChange> changes{{from, offsetAt(from)}};
  for (int year = yearOf(from); year <= yearOf(to); ++year) {
    // Each year's changes by that year's rule, and a change at New Year when the rules differ.
    const int64_t begin = std::max(from, startOfYear(year));
    const int64_t end = std::min(to, startOfYear(year + 1) - 1);
    const PosixTzRule rule = ruleOfYear(year);
    if (begin > from && rule.utcOffsetAt(begin) != changes.back().utcOffset) {
      changes.push_back({begin, rule.utcOffsetAt(begin)});
    }
    for (const OffsetChange& change : rule.changesBetween(begin, end)) changes.push_back(change);
  }
  return changes;
}

double WindowsCalendar::startOfDay(double instant) const {
  return startOfLocalDay(
      instant, [this](int64_t unixSeconds) { return offsetAt(unixSeconds); },
      [this](int64_t from, int64_t to) { return offsetsBetween(from, to); });
}

}  // namespace zelvo::windows_platform
