// The Windows calendar against the tz database's rules (the reader the Linux calendar uses),
// across each zone's daylight-saving changes.
#include "platform/windows/windows_calendar.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

#include "platform/common/time_zone.h"
#include "zelvo/platform/clock.h"

namespace zelvo::windows_platform {
namespace {

constexpr double kHour = 3600.0;

double utc(int year, int month, int day, int hour) {
  std::tm tm{};
  tm.tm_year = year - 1900;
  tm.tm_mon = month - 1;
  tm.tm_mday = day;
  tm.tm_hour = hour;
  return static_cast<double>(_mkgmtime(&tm)) - kSecondsFrom1970To2001;
}

struct ZoneRow {
  const wchar_t* windowsKey;
  const char* ianaName;
  // Instants (UTC) at the zone's changes of 2026; each is checked with the hours around it.
  double edges[2];
};

const ZoneRow kZones[] = {
    {L"W. Europe Standard Time", "Europe/Berlin", {utc(2026, 3, 29, 1), utc(2026, 10, 25, 1)}},
    {L"Eastern Standard Time", "America/New_York", {utc(2026, 3, 8, 7), utc(2026, 11, 1, 6)}},
    {L"AUS Eastern Standard Time", "Australia/Sydney", {utc(2026, 4, 4, 16), utc(2026, 10, 3, 16)}},
    {L"India Standard Time", "Asia/Kolkata", {utc(2026, 1, 1, 0), utc(2026, 7, 1, 12)}},
    {L"UTC", "UTC", {utc(2026, 1, 1, 0), utc(2026, 12, 31, 23)}},
};

void PrintTo(const ZoneRow& row, std::ostream* out) { *out << row.ianaName; }

class WindowsCalendarTest : public ::testing::TestWithParam<ZoneRow> {};

TEST_P(WindowsCalendarTest, StartsEachDayWhereTheTzDatabaseDoes) {
  const ZoneRow& row = GetParam();
  const std::optional<WindowsCalendar> calendar = WindowsCalendar::forZone(row.windowsKey);
  ASSERT_TRUE(calendar.has_value()) << "Windows has no zone " << row.ianaName;
  const std::optional<TimeZone> zone = TimeZone::load(row.ianaName);
  ASSERT_TRUE(zone.has_value()) << row.ianaName << " needs the tzdata package";
  for (const double edge : row.edges) {
    for (double offset = -30 * kHour; offset <= 30 * kHour; offset += 0.5 * kHour) {
      const double instant = edge + offset;
      EXPECT_EQ(calendar->startOfDay(instant), zone->startOfDay(instant))
          << row.ianaName << " at " << (instant + kSecondsFrom1970To2001) << " (Unix)";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Zones, WindowsCalendarTest, ::testing::ValuesIn(kZones),
                         [](const auto& info) {
                           std::string name = info.param.ianaName;
                           std::replace(name.begin(), name.end(), '/', '_');
                           return name;
                         });

// The test program runs with TZ=America/New_York (tests/CMakeLists.txt); Wine maps it to the
// system zone, which the default calendar follows.
TEST(WindowsCalendarDefaultTest, FollowsTheSystemZone) {
  const std::optional<TimeZone> zone = TimeZone::load("America/New_York");
  ASSERT_TRUE(zone.has_value());
  const WindowsCalendar calendar;
  for (const double instant : {utc(2026, 3, 8, 12), utc(2026, 7, 1, 3), utc(2026, 11, 1, 5)}) {
    EXPECT_EQ(calendar.startOfDay(instant), zone->startOfDay(instant)) << instant;
  }
}

}  // namespace
}  // namespace zelvo::windows_platform
