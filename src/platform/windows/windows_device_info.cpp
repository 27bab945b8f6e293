#include "platform/windows/windows_device_info.h"

#include <windows.h>

#include <vector>

#include "platform/windows/wide_text.h"

namespace zelvo::windows_platform {
namespace {

std::string defaultModelName() {
  wchar_t name[256] = {};
  DWORD size = sizeof name;
  if (RegGetValueW(HKEY_LOCAL_MACHINE, L"HARDWARE\\DESCRIPTION\\System\\BIOS", L"SystemProductName",
                   RRF_RT_REG_SZ, nullptr, name, &size) == ERROR_SUCCESS) {
    std::wstring text(name);
    while (!text.empty() && (text.back() == L' ' || text.back() == L'\t')) text.pop_back();
    if (!text.empty()) return toUtf8(text);
  }
  return "Windows";
}

std::optional<std::string> defaultApplicationIdentifier() {
  std::string name = programName();
  if (name.empty()) return std::nullopt;
  return name;
}

}  // namespace

std::string programName() {
  std::vector<wchar_t> path(MAX_PATH);
  for (;;) {
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0) return {};
    if (length < path.size()) {
      std::wstring_view name(path.data(), length);
      if (const size_t slash = name.find_last_of(L"\\/"); slash != std::wstring_view::npos) name.remove_prefix(slash + 1);
      if (name.size() > 4 && _wcsicmp(name.substr(name.size() - 4).data(), L".exe") == 0) name.remove_suffix(4);
      return toUtf8(name);
    }
    path.resize(path.size() * 2);
  }
}

WindowsDeviceInfo::WindowsDeviceInfo() : HostDeviceInfo(defaultModelName(), defaultApplicationIdentifier()) {}

}  // namespace zelvo::windows_platform
