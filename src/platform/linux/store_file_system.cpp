#include "platform/portable/store_file_system.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "common/concat.h"

namespace zelvo::portable {

std::string systemErrorText(int error) {
  char buffer[256];
  // The GNU strerror_r returns the message, which may or may not be in `buffer`.
  return strerror_r(error, buffer, sizeof buffer);
}

// mkdir -p with mode 0700.
std::optional<std::string> makePrivateDirectories(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos || slash == 0) return std::nullopt;
  const std::string directory = path.substr(0, slash);
  for (size_t end = directory.find('/', 1);; end = directory.find('/', end + 1)) {
    const std::string prefix = directory.substr(0, end);
    if (mkdir(prefix.c_str(), 0700) != 0 && errno != EEXIST) {
      return concat({"cannot create ", prefix, ": ", systemErrorText(errno)});
    }
    if (end == std::string::npos) break;
  }
  struct stat info {};
  if (stat(directory.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return directory + " is not a directory";
  return std::nullopt;
}

// SQLite creates files with 0644 less the umask; the store's file is the user's alone, and
// SQLite gives its -wal and -shm files the database file's mode.
void createPrivateFile(const std::string& path) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd >= 0) ::close(fd);
}

std::string whyNotWritable(const std::string& path) {
  return access(path.c_str(), W_OK) != 0 ? systemErrorText(errno) : "not writable";
}

std::optional<std::string> moveFile(const std::string& from, const std::string& to) {
  if (rename(from.c_str(), to.c_str()) != 0) return systemErrorText(errno);
  return std::nullopt;
}

std::optional<std::string> moveOrRemoveFile(const std::string& from, const std::string& to) {
  if (rename(from.c_str(), to.c_str()) != 0 && errno != ENOENT && unlink(from.c_str()) != 0 && errno != ENOENT) {
    return systemErrorText(errno);
  }
  return std::nullopt;
}

std::string utcTimestamp() {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  tm utc{};
  gmtime_r(&ts.tv_sec, &utc);
  char text[64];
  std::snprintf(text, sizeof text, "%04d%02d%02dT%02d%02d%02d.%03ldZ", utc.tm_year + 1900, utc.tm_mon + 1,
                utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, static_cast<long>(ts.tv_nsec / 1000000));
  return text;
}

}  // namespace zelvo::portable
