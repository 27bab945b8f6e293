// The Linux platform's small services against the real system: the zone database and
// standard error.

// GCC 12 with -fsanitize=address,undefined reports a false -Wmaybe-uninitialized inside
// libstdc++'s <regex> (a std::function member of its automaton's states); this file keeps its
// own build unit (tests/CMakeLists.txt), so the pragma reaches no other source.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <errno.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <regex>

#include "zelvo/linux/stderr_log_sink.h"
#include "zelvo/linux/system_calendar.h"

namespace zelvo::integration {
namespace {

using namespace linux_platform;

constexpr double k2001 = 978307200.0;

// The TZ value in each of its forms, anything unusable read as UTC; and the C library's local
// midnight over a year with both daylight-saving changes.
TEST(SystemCalendarTest, FollowsTheTzValueAndAgreesWithTheCLibrary) {
  if (!std::filesystem::exists("/usr/share/zoneinfo/Europe/Berlin")) GTEST_SKIP() << "no time-zone database";
  // 2024-03-31 12:00 UTC, the day Berlin moves to summer time; its day began at 23:00 UTC.
  const double noon = 1711886400.0 - k2001;
  for (const char* tz : {"Europe/Berlin", ":Europe/Berlin", "/usr/share/zoneinfo/Europe/Berlin"}) {
    EXPECT_EQ(SystemCalendar(std::string(tz)).startOfDay(noon), 1711839600.0 - k2001) << tz;
  }
  for (const char* tz : {"", ":", "Nowhere/Atlantis", "../../etc/passwd", "UTC"}) {
    EXPECT_EQ(SystemCalendar(std::string(tz)).startOfDay(noon), 1711843200.0 - k2001) << tz;
  }

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
  savedTz ? setenv("TZ", savedTz->c_str(), 1) : unsetenv("TZ");
  tzset();
}

// "<YYYY-MM-DD HH:MM:SS.mmm> program[pid:tid] line", one whole line per write.
TEST(StderrLogSinkTest, WritesStampedWholeLines) {
  int pipeFds[2];
  ASSERT_EQ(pipe(pipeFds), 0);
  const int saved = dup(STDERR_FILENO);
  dup2(pipeFds[1], STDERR_FILENO);
  StderrLogSink sink;
  sink.write(zelvo::LogSeverity::kInfo, "[ZV]: first");
  sink.write(zelvo::LogSeverity::kError, "[ZV]: second with \xC3\xA9");
  dup2(saved, STDERR_FILENO);
  close(saved);
  close(pipeFds[1]);
  std::string text;
  char buffer[4096];
  for (ssize_t got; (got = read(pipeFds[0], buffer, sizeof buffer)) > 0;) text.append(buffer, static_cast<size_t>(got));
  close(pipeFds[0]);

  const std::string source = std::string(program_invocation_short_name) + "\\[" + std::to_string(getpid()) + ":" +
                             std::to_string(syscall(SYS_gettid)) + "\\] ";
  const std::string stamp = "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} ";
  EXPECT_TRUE(std::regex_match(text, std::regex(stamp + source + "\\[ZV\\]: first\n" + stamp + source +
                                                "\\[ZV\\]: second with \xC3\xA9\n")))
      << text;
}

}  // namespace
}  // namespace zelvo::integration
