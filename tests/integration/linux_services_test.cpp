#include <errno.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string_view>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "zelvo/linux/linux_device_info.h"
#include "zelvo/linux/stderr_log_sink.h"
#include "zelvo/linux/system_calendar.h"
#include "zelvo/linux/system_clock.h"
#include "zelvo/linux/urandom_uuid_source.h"

namespace zelvo::integration {
namespace {

using namespace linux_platform;

constexpr double k2001 = 978307200.0;

TEST(SystemClockTest, CountsSecondsSince2001OnTheWallClock) {
  const double before = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  const double now = SystemClock().now();
  const double after = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  EXPECT_GE(now + k2001, before - 1e-6);
  EXPECT_LE(now + k2001, after + 1e-6);
  EXPECT_GT(SystemClock().nowSince1970(), before - 1e-6);
}

bool haveZoneDatabase() { return std::filesystem::exists("/usr/share/zoneinfo/Europe/Berlin"); }

TEST(SystemCalendarTest, FollowsTheTzValueInEachOfItsForms) {
  if (!haveZoneDatabase()) GTEST_SKIP() << "no time-zone database";
  // 2024-03-31 12:00 UTC, the day Berlin moves to summer time; its day began at 23:00 UTC.
  const double noon = 1711886400.0 - k2001;
  const double berlinMidnight = 1711839600.0 - k2001;
  for (const char* tz : {"Europe/Berlin", ":Europe/Berlin", "/usr/share/zoneinfo/Europe/Berlin",
                         ":/usr/share/zoneinfo/Europe/Berlin"}) {
    EXPECT_EQ(SystemCalendar(std::string(tz)).startOfDay(noon), berlinMidnight) << tz;
  }
  const double utcMidnight = 1711843200.0 - k2001;
  for (const char* tz : {"", ":", "Nowhere/Atlantis", "../../etc/passwd", "UTC"}) {
    EXPECT_EQ(SystemCalendar(std::string(tz)).startOfDay(noon), utcMidnight) << tz;
  }
}

// The C library reads the same zone the same way: its local midnight must agree with ours
// over a year with both daylight-saving changes.
TEST(SystemCalendarTest, AgreesWithTheCLibrary) {
  if (!haveZoneDatabase()) GTEST_SKIP() << "no time-zone database";
  const char* saved = std::getenv("TZ");
  const std::optional<std::string> savedTz = saved ? std::optional<std::string>(saved) : std::nullopt;
  for (const char* tz : {"Europe/Berlin", "America/New_York", "Australia/Lord_Howe"}) {
    setenv("TZ", tz, 1);
    tzset();
    const SystemCalendar calendar;  // reads $TZ
    for (time_t t = 1704067200; t < 1704067200 + 400 * 86400; t += 7 * 3600 + 13) {
      tm local{};
      localtime_r(&t, &local);
      local.tm_hour = local.tm_min = local.tm_sec = 0;
      local.tm_isdst = -1;
      const double expected = static_cast<double>(mktime(&local)) - k2001;
      ASSERT_EQ(calendar.startOfDay(static_cast<double>(t) - k2001 + 0.25), expected) << tz << " at " << t;
    }
  }
  if (savedTz) {
    setenv("TZ", savedTz->c_str(), 1);
  } else {
    unsetenv("TZ");
  }
  tzset();
}

TEST(UrandomUuidSourceTest, MakesDistinctVersion4Uuids) {
  UrandomUuidSource source;
  std::set<std::array<uint8_t, 16>> seen;
  for (int i = 0; i < 200; ++i) {
    const auto bytes = source.newUuidBytes();
    EXPECT_EQ(bytes[6] >> 4, 4);
    EXPECT_EQ(bytes[8] >> 6, 2);
    seen.insert(bytes);
  }
  EXPECT_EQ(seen.size(), 200u);
}

TEST(LinuxDeviceInfoTest, DefaultsFromTheSystemAndSettableFromAnyThread) {
  LinuxDeviceInfo info;
  EXPECT_FALSE(info.modelName().empty());
  EXPECT_EQ(info.applicationIdentifier(), std::string(program_invocation_short_name));

  std::thread writer([&] {
    for (int i = 0; i < 100; ++i) {
      info.setModelName("Model " + std::to_string(i));
      info.setApplicationIdentifier("com.example." + std::to_string(i));
    }
  });
  for (int i = 0; i < 100; ++i) {
    EXPECT_FALSE(info.modelName().empty());
    EXPECT_TRUE(info.applicationIdentifier().has_value());
  }
  writer.join();
  EXPECT_EQ(info.modelName(), "Model 99");
  EXPECT_EQ(info.applicationIdentifier(), "com.example.99");
  info.setApplicationIdentifier(std::nullopt);
  EXPECT_FALSE(info.applicationIdentifier().has_value());
}

// Captures what is written to standard error while `write` runs.
template <typename Write>
std::string captureStderr(Write write) {
  int pipeFds[2];
  if (pipe(pipeFds) != 0) return {};
  const int saved = dup(STDERR_FILENO);
  dup2(pipeFds[1], STDERR_FILENO);
  write();
  dup2(saved, STDERR_FILENO);
  close(saved);
  close(pipeFds[1]);
  std::string text;
  char buffer[4096];
  ssize_t got;
  while ((got = read(pipeFds[0], buffer, sizeof buffer)) > 0) text.append(buffer, static_cast<size_t>(got));
  close(pipeFds[0]);
  return text;
}

// Whether `line` is "<YYYY-MM-DD HH:MM:SS.mmm> <rest>" with digits where the stamp has them.
bool stampedAs(std::string_view line, std::string_view rest) {
  constexpr std::string_view kStamp = "0000-00-00 00:00:00.000 ";
  if (line.size() != kStamp.size() + rest.size() || line.substr(kStamp.size()) != rest) return false;
  for (size_t i = 0; i < kStamp.size(); ++i) {
    const bool digit = line[i] >= '0' && line[i] <= '9';
    if (kStamp[i] == '0' ? !digit : line[i] != kStamp[i]) return false;
  }
  return true;
}

TEST(StderrLogSinkTest, WritesStampedWholeLines) {
  StderrLogSink sink;
  const std::string text = captureStderr([&] {
    sink.write(zelvo::LogSeverity::kInfo, "[ZV]: first");
    sink.write(zelvo::LogSeverity::kError, "[ZV]: second with \xC3\xA9");
  });
  const std::string source = std::string(program_invocation_short_name) + "[" + std::to_string(getpid()) + ":" +
                             std::to_string(syscall(SYS_gettid)) + "] ";
  const size_t newline = text.find('\n');
  ASSERT_NE(newline, std::string::npos) << text;
  EXPECT_TRUE(stampedAs(std::string_view(text).substr(0, newline), source + "[ZV]: first")) << text;
  EXPECT_TRUE(stampedAs(std::string_view(text).substr(newline + 1), source + "[ZV]: second with \xC3\xA9\n")) << text;
}

}  // namespace
}  // namespace zelvo::integration
