#include "platform/common/time_zone.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <fstream>
#include <iterator>

#include "zelvo/platform/clock.h"
#include "zelvo/testing/testing_platform.h"

namespace zelvo {
namespace {

constexpr double kHour = 3600.0;

// A UTC wall-clock time as an instant since 2001.
double utc(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  std::tm tm{};
  tm.tm_year = year - 1900;
  tm.tm_mon = month - 1;
  tm.tm_mday = day;
  tm.tm_hour = hour;
  tm.tm_min = minute;
  tm.tm_sec = second;
#ifdef _WIN32
  return static_cast<double>(_mkgmtime(&tm)) - kSecondsFrom1970To2001;
#else
  return static_cast<double>(timegm(&tm)) - kSecondsFrom1970To2001;
#endif
}

TimeZone mustLoad(const std::string& name) {
  auto zone = TimeZone::load(name);
  EXPECT_TRUE(zone.has_value()) << name << " needs the tzdata package";
  return zone ? *zone : TimeZone::utc();
}

void appendBigEndian(std::string& out, uint32_t v) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<char>((v >> shift) & 0xFF));
}

struct Transition {
  int64_t at;
  uint8_t type;
};

// A TZif file with one local type and the given transitions, the footer telling the rest.
std::string tzif(const std::string& rule, int32_t typeOffset, const std::vector<Transition>& transitions = {}) {
  auto block = [&](int timeSize) {
    std::string b;
    for (const auto& t : transitions) {
      if (timeSize == 8) appendBigEndian(b, static_cast<uint32_t>(static_cast<uint64_t>(t.at) >> 32));
      appendBigEndian(b, static_cast<uint32_t>(t.at));
    }
    for (const auto& t : transitions) b.push_back(static_cast<char>(t.type));
    appendBigEndian(b, static_cast<uint32_t>(typeOffset));
    b += std::string("\0\0", 2) + std::string("STD", 4);
    return b;
  };
  auto header = [&] {
    std::string h = "TZif2" + std::string(15, '\0');
    for (uint32_t count : {0u, 0u, 0u, static_cast<uint32_t>(transitions.size()), 1u, 4u}) appendBigEndian(h, count);
    return h;
  };
  return header() + block(4) + header() + block(8) + "\n" + rule + "\n";
}

struct MidnightCase {
  const char* zone;
  double day;       // an instant during the local day
  double midnight;  // that day's local midnight
  double nextMidnight;
};

TEST(TimeZoneTest, MidnightsAroundRealDaylightSavingChanges) {
  const MidnightCase cases[] = {
      // Berlin springs forward on 29 March 2026 and falls back on 25 October.
      {"Europe/Berlin", utc(2026, 3, 29, 10), utc(2026, 3, 28, 23), utc(2026, 3, 29, 22)},
      {"Europe/Berlin", utc(2026, 10, 25, 10), utc(2026, 10, 24, 22), utc(2026, 10, 25, 23)},
      // New York changes on 8 March and 1 November 2026.
      {"America/New_York", utc(2026, 3, 8, 12), utc(2026, 3, 8, 5), utc(2026, 3, 9, 4)},
      {"America/New_York", utc(2026, 11, 1, 12), utc(2026, 11, 1, 4), utc(2026, 11, 2, 5)},
      // Past the recorded transitions only the file's rule knows the dates.
      {"Europe/Berlin", utc(2100, 3, 28, 12), utc(2100, 3, 27, 23), utc(2100, 3, 28, 22)},
      // Santiago moves from 00:00 straight to 01:00 on 6 September 2026: that day starts at 01:00.
      {"America/Santiago", utc(2026, 9, 6, 15), utc(2026, 9, 6, 4), utc(2026, 9, 7, 3)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.zone);
    const TimeZone zone = mustLoad(c.zone);
    EXPECT_EQ(zone.startOfDay(c.day), c.midnight);
    EXPECT_EQ(zone.startOfDay(c.midnight), c.midnight);
    EXPECT_EQ(zone.startOfDay(c.nextMidnight - 0.5), c.midnight);
    EXPECT_EQ(zone.startOfDay(c.nextMidnight), c.nextMidnight);
  }
}

TEST(TimeZoneTest, UtcNeedsNoDatabaseAndUnknownOrUnsafeNamesAreRefused) {
  const auto zone = TimeZone::load("UTC");
  ASSERT_TRUE(zone.has_value());
  EXPECT_EQ(zone->startOfDay(-0.5), -86400.0);  // just before 2001
  EXPECT_EQ(zone->utcOffsetAt(1e300), 0.0);
  EXPECT_TRUE(std::isnan(zone->startOfDay(std::nan(""))));
  EXPECT_EQ(mustLoad("Europe/Berlin").utcOffsetAt(-1e300), mustLoad("Europe/Berlin").utcOffsetAt(-1e13));
  for (const char* name : {"Nowhere/Atlantis", "", "/etc/passwd", "../../../etc/passwd", "Europe/../../../etc/passwd"}) {
    EXPECT_FALSE(TimeZone::load(name).has_value()) << name;
  }
  testing::ZoneCalendar calendar("Nowhere/Atlantis");
  EXPECT_FALSE(calendar.ok());
  EXPECT_EQ(calendar.startOfDay(utc(2026, 3, 29, 10)), utc(2026, 3, 29));
  calendar.setZone("Europe/Berlin");
  EXPECT_EQ(calendar.startOfDay(utc(2026, 3, 29, 10)), utc(2026, 3, 28, 23));
}

TEST(TimeZoneTest, SlimFileTakesEveryDateFromItsFooterRule) {
  // Debian may ship files without transitions; the footer rule then covers all of time.
  auto zone = TimeZone::fromTzif(tzif("CET-1CEST,M3.5.0,M10.5.0/3", 3600));
  ASSERT_TRUE(zone.has_value());
  const double k1970 = kSecondsFrom1970To2001;
  EXPECT_EQ(zone->utcOffsetAt(utc(2026, 3, 29, 0, 59, 59) + k1970), 3600.0);
  EXPECT_EQ(zone->utcOffsetAt(utc(2026, 3, 29, 1) + k1970), 7200.0);
  EXPECT_EQ(zone->utcOffsetAt(utc(2026, 10, 25, 0, 59, 59) + k1970), 7200.0);
  EXPECT_EQ(zone->utcOffsetAt(utc(2026, 10, 25, 1) + k1970), 3600.0);
  EXPECT_EQ(zone->startOfDay(utc(2026, 10, 25, 23, 30)), utc(2026, 10, 25, 23));

  // Southern hemisphere: daylight time spans the new year.
  auto sydney = TimeZone::fromTzif(tzif("AEST-10AEDT,M10.1.0,M4.1.0/3", 36000));
  ASSERT_TRUE(sydney.has_value());
  EXPECT_EQ(sydney->utcOffsetAt(utc(2026, 1, 15) + k1970), 11 * kHour);
  EXPECT_EQ(sydney->startOfDay(utc(2026, 1, 15, 3)), utc(2026, 1, 14, 13));

  // Quoted names and a rule without daylight time.
  auto fixed = TimeZone::fromTzif(tzif("<+0530>-5:30", 19800));
  ASSERT_TRUE(fixed.has_value());
  EXPECT_EQ(fixed->utcOffsetAt(0), 19800.0);
}

TEST(TimeZoneTest, MalformedFilesAreRefused) {
  for (const char* rule : {"CET", "CET-1CEST,M3.5.0", "CET-1CEST,M13.5.0,M10.5.0", "CET-1CEST,M3.5.7,M10.5.0",
                           "CET-1CEST,J0,J100", "C1", "CET-1CEST,M3.5.0,M10.5.0/3x", "<+05-5"}) {
    EXPECT_FALSE(TimeZone::fromTzif(tzif(rule, 0)).has_value()) << rule;
  }
  EXPECT_FALSE(TimeZone::fromTzif("").has_value());
  EXPECT_FALSE(TimeZone::fromTzif("TZif2 and then nothing useful").has_value());

  std::ifstream file("/usr/share/zoneinfo/America/New_York", std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  ASSERT_FALSE(bytes.empty()) << "needs the tzdata package";
  ASSERT_TRUE(TimeZone::fromTzif(bytes).has_value());
  // Every truncation loses at least the footer's closing newline.
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    ASSERT_FALSE(TimeZone::fromTzif(std::string_view(bytes).substr(0, length)).has_value()) << length;
  }
  // Transitions must name an existing local type and come in time order.
  EXPECT_TRUE(TimeZone::fromTzif(tzif("UTC0", 0, {{100, 0}, {200, 0}})).has_value());
  EXPECT_FALSE(TimeZone::fromTzif(tzif("UTC0", 0, {{100, 0}, {200, 1}})).has_value());
  EXPECT_FALSE(TimeZone::fromTzif(tzif("UTC0", 0, {{200, 0}, {100, 0}})).has_value());
}

}  // namespace
}  // namespace zelvo
