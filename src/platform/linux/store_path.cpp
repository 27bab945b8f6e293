#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include "zelvo/portable/sqlite_store.h"

namespace zelvo::portable {
namespace {

std::optional<std::string> homeDirectory() {
  if (const char* home = std::getenv("HOME"); home && home[0] == '/') return std::string(home);
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && found->pw_dir &&
      found->pw_dir[0] == '/') {
    return std::string(found->pw_dir);
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> SqliteStore::defaultPath(const std::string& applicationIdentifier) {
  if (applicationIdentifier.empty() || applicationIdentifier == "." || applicationIdentifier == ".." ||
      applicationIdentifier.find('/') != std::string::npos) {
    return std::nullopt;
  }
  std::string dataHome;
  if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg && xdg[0] == '/') {
    dataHome = xdg;
  } else if (std::optional<std::string> home = homeDirectory()) {
    dataHome = *home + "/.local/share";
  } else {
    return std::nullopt;
  }
  return dataHome + "/" + applicationIdentifier + "/zelvo.sqlite";
}

}  // namespace zelvo::portable
