#include "platform/windows/windows_endpoint.h"

#include <windows.h>
// After windows.h, which it needs.
#include <winhttp.h>

#include "platform/common/endpoint_mapping.h"
#include "platform/windows/wide_text.h"

namespace zelvo::windows_platform {

std::variant<WindowsEndpoint, std::string> WindowsEndpoint::parse(std::string_view text) {
  const std::string quoted = "the endpoint \"" + std::string(text) + "\" ";
  if (text.find_first_of(std::string_view("\r\n\0 ", 4)) != std::string_view::npos) {
    return quoted + "holds a space, a line break or a NUL";
  }
  const std::wstring wide = toWide(text);
  URL_COMPONENTS parts{};
  parts.dwStructSize = sizeof parts;
  parts.dwHostNameLength = parts.dwUrlPathLength = parts.dwExtraInfoLength = parts.dwUserNameLength =
      parts.dwPasswordLength = static_cast<DWORD>(-1);
  if (!WinHttpCrackUrl(wide.c_str(), static_cast<DWORD>(wide.size()), 0, &parts)) return quoted + "is not a URL";
  if (parts.nScheme != INTERNET_SCHEME_HTTPS) return quoted + "must start with https://";
  if (parts.dwUserNameLength > 0 || parts.dwPasswordLength > 0) return quoted + "must not hold a user name or password";
  if (parts.dwExtraInfoLength > 0) return quoted + "must not hold a query (?) or fragment (#)";
  if (parts.dwHostNameLength == 0) return quoted + "names no host";
  const std::string host = toUtf8(std::wstring_view(parts.lpszHostName, parts.dwHostNameLength));
  std::string path = toUtf8(std::wstring_view(parts.lpszUrlPath, parts.dwUrlPathLength));
  while (!path.empty() && path.back() == '/') path.pop_back();
  WindowsEndpoint endpoint;
  endpoint.base = "https://" + host + (parts.nPort == INTERNET_DEFAULT_HTTPS_PORT ? "" : ":" + std::to_string(parts.nPort)) + path;
  endpoint.loopback = isLoopbackHost(host);
  return endpoint;
}

std::string WindowsEndpoint::map(const std::string& url) const { return mapOntoEndpoint(base, url); }

}  // namespace zelvo::windows_platform
