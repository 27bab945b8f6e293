#include "platform/windows/wide_text.h"

#include <windows.h>

namespace zelvo::windows_platform {

std::wstring toWide(std::string_view text) {
  if (text.empty()) return {};
  const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring wide(static_cast<size_t>(size), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), size);
  return wide;
}

std::string toUtf8(std::wstring_view text) {
  if (text.empty()) return {};
  const int size =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), narrow.data(), size, nullptr, nullptr);
  return narrow;
}

std::string asciiLowercase(std::string text) {
  for (char& c : text) c = (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c;
  return text;
}

std::string errorText(unsigned long code) {
  wchar_t* buffer = nullptr;
  const DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  // WinHTTP's codes are described by its own module.
  HMODULE winhttp = GetModuleHandleW(L"winhttp.dll");
  DWORD length = FormatMessageW(flags | (winhttp ? FORMAT_MESSAGE_FROM_HMODULE : 0), winhttp, code, 0,
                                reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
  if (length == 0 && winhttp) {
    length = FormatMessageW(flags, nullptr, code, 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
  }
  std::wstring text = buffer ? std::wstring(buffer, length) : std::wstring();
  if (buffer) LocalFree(buffer);
  while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r' || text.back() == L' ')) text.pop_back();
  std::string result = "error " + std::to_string(code);
  return text.empty() ? result : toUtf8(text) + " (" + result + ")";
}

}  // namespace zelvo::windows_platform
