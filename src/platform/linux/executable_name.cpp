#include "platform/linux/executable_name.h"

#include <unistd.h>

#include <array>
#include <string_view>

namespace zelvo::linux_platform {

std::string executableName() {
  std::array<char, 4096> buffer{};
  const ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size());
  if (length <= 0 || static_cast<size_t>(length) >= buffer.size()) return {};
  std::string_view path(buffer.data(), static_cast<size_t>(length));
  // The kernel marks a program whose file was replaced since it started.
  constexpr std::string_view kDeleted = " (deleted)";
  if (path.ends_with(kDeleted)) path.remove_suffix(kDeleted.size());
  const size_t slash = path.rfind('/');
  return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

}  // namespace zelvo::linux_platform
