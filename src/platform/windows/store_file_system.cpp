#include "platform/portable/store_file_system.h"

#include <windows.h>

#include <cstdio>

#include "platform/windows/wide_text.h"

namespace zelvo::portable {

using windows_platform::errorText;
using windows_platform::toWide;

// SQLite's Windows VFS reports GetLastError() codes.
std::string systemErrorText(int error) { return errorText(static_cast<unsigned long>(error)); }

// The folders inherit the permissions of the user's profile, which only the user may read.
std::optional<std::string> makePrivateDirectories(const std::string& path) {
  const size_t separator = path.find_last_of("\\/");
  if (separator == std::string::npos || separator == 0) return std::nullopt;
  const std::string directory = path.substr(0, separator);
  // "C:\" and "\\server\share\" exist or not; only the folders below them are made.
  size_t start = directory.size() > 1 && directory[1] == ':' ? 3 : 1;
  if (directory.starts_with("\\\\")) start = directory.find_first_of("\\/", directory.find_first_of("\\/", 2) + 1);
  for (size_t end = directory.find_first_of("\\/", start);; end = directory.find_first_of("\\/", end + 1)) {
    const std::string prefix = directory.substr(0, end);
    if (!CreateDirectoryW(toWide(prefix).c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS) {
      return "cannot create " + prefix + ": " + errorText(GetLastError());
    }
    if (end == std::string::npos) break;
  }
  const DWORD attributes = GetFileAttributesW(toWide(directory).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    return directory + " is not a directory";
  }
  return std::nullopt;
}

void createPrivateFile(const std::string& path) {
  HANDLE file = CreateFileW(toWide(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
}

std::string whyNotWritable(const std::string& path) {
  const DWORD attributes = GetFileAttributesW(toWide(path).c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0) return "a read-only file";
  return "not writable";
}

std::optional<std::string> moveFile(const std::string& from, const std::string& to) {
  if (!MoveFileExW(toWide(from).c_str(), toWide(to).c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    return errorText(GetLastError());
  }
  return std::nullopt;
}

std::optional<std::string> moveOrRemoveFile(const std::string& from, const std::string& to) {
  const std::wstring source = toWide(from);
  if (MoveFileExW(source.c_str(), toWide(to).c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    return std::nullopt;
  }
  DWORD error = GetLastError();
  if (error == ERROR_FILE_NOT_FOUND || DeleteFileW(source.c_str())) return std::nullopt;
  error = GetLastError();
  if (error == ERROR_FILE_NOT_FOUND) return std::nullopt;
  return errorText(error);
}

std::string utcTimestamp() {
  SYSTEMTIME utc{};
  GetSystemTime(&utc);
  char text[64];
  std::snprintf(text, sizeof text, "%04u%02u%02uT%02u%02u%02u.%03uZ", utc.wYear, utc.wMonth, utc.wDay, utc.wHour,
                utc.wMinute, utc.wSecond, utc.wMilliseconds);
  return text;
}

}  // namespace zelvo::portable
