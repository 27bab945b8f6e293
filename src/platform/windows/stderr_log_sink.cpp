#include "platform/windows/stderr_log_sink.h"

#include <windows.h>

#include <cstdio>

#include "platform/windows/wide_text.h"
#include "platform/windows/windows_device_info.h"

namespace zelvo::windows_platform {

StderrLogSink::StderrLogSink() : program_(programName()) {}

void StderrLogSink::write(LogSeverity /*severity*/, std::string_view line) {
  SYSTEMTIME local{};
  GetLocalTime(&local);
  char prefix[128];
  const int prefixLength = std::snprintf(prefix, sizeof prefix, "%04u-%02u-%02u %02u:%02u:%02u.%03u ", local.wYear,
                                         local.wMonth, local.wDay, local.wHour, local.wMinute, local.wSecond,
                                         local.wMilliseconds);
  char ids[64];
  const int idsLength = std::snprintf(ids, sizeof ids, "[%lu:%lu] ", GetCurrentProcessId(), GetCurrentThreadId());
  std::string text;
  text.append(prefix, static_cast<size_t>(prefixLength));
  text.append(program_);
  text.append(ids, static_cast<size_t>(idsLength));
  text.append(line);
  text.push_back('\n');
  OutputDebugStringW(toWide(text).c_str());
  HANDLE error = GetStdHandle(STD_ERROR_HANDLE);
  if (error == nullptr || error == INVALID_HANDLE_VALUE) return;
  DWORD written = 0;
  WriteFile(error, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

}  // namespace zelvo::windows_platform
