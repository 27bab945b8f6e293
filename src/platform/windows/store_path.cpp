#include <windows.h>
// After windows.h, which it needs.
#include <knownfolders.h>
#include <shlobj.h>

#include "platform/windows/wide_text.h"
#include "zelvo/portable/sqlite_store.h"

namespace zelvo::portable {

std::optional<std::string> SqliteStore::defaultPath(const std::string& applicationIdentifier) {
  if (applicationIdentifier.empty() || applicationIdentifier == "." || applicationIdentifier == ".." ||
      applicationIdentifier.find_first_of("/\\:*?\"<>|") != std::string::npos) {
    return std::nullopt;
  }
  wchar_t* folder = nullptr;
  if (FAILED(SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &folder))) {
    CoTaskMemFree(folder);
    return std::nullopt;
  }
  const std::string localAppData = windows_platform::toUtf8(folder);
  CoTaskMemFree(folder);
  return localAppData + "\\" + applicationIdentifier + "\\zelvo.sqlite";
}

}  // namespace zelvo::portable
