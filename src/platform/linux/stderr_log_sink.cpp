#include "zelvo/linux/stderr_log_sink.h"

#include <errno.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>

#include "platform/linux/executable_name.h"

namespace zelvo::linux_platform {

StderrLogSink::StderrLogSink() : program_(executableName()) {}

void StderrLogSink::write(LogSeverity /*severity*/, std::string_view line) {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  tm local{};
  localtime_r(&ts.tv_sec, &local);
  char prefix[128];
  const int prefixLength = std::snprintf(
      prefix, sizeof prefix, "%04d-%02d-%02d %02d:%02d:%02d.%03ld ", local.tm_year + 1900, local.tm_mon + 1,
      local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, static_cast<long>(ts.tv_nsec / 1000000));
  char ids[64];
  const int idsLength = std::snprintf(ids, sizeof ids, "[%ld:%ld] ", static_cast<long>(getpid()),
                                      static_cast<long>(syscall(SYS_gettid)));

  std::string text;
  text.reserve(static_cast<size_t>(prefixLength) + program_.size() + static_cast<size_t>(idsLength) + line.size() + 1);
  text.append(prefix, static_cast<size_t>(prefixLength));
  text.append(program_);
  text.append(ids, static_cast<size_t>(idsLength));
  text.append(line);
  text.push_back('\n');

  // One write(2) carries the whole line; the loop only finishes a write cut short by a signal
  // or a full pipe.
  const char* data = text.data();
  size_t left = text.size();
  while (left > 0) {
    const ssize_t written = ::write(STDERR_FILENO, data, left);
    if (written < 0) {
      if (errno == EINTR) continue;
      return;  // nowhere left to report it
    }
    data += written;
    left -= static_cast<size_t>(written);
  }
}

}  // namespace zelvo::linux_platform
