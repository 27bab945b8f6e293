#pragma once

#include <optional>
#include <string>

namespace zelvo::portable {

// The few file operations of the store that each operating system does its own way. Paths
// are UTF-8, as SQLite takes them. Thread: any.

// The system's text for an error number SQLite reports (sqlite3_system_errno()).
std::string systemErrorText(int error);
// Creates the directories above the file `path` (the application's private data: the user's
// alone where the system lets us say so); the reason when one cannot be made.
std::optional<std::string> makePrivateDirectories(const std::string& path);
// Creates `path` empty and the user's alone, unless something is there already.
void createPrivateFile(const std::string& path);
// Why the process may not write `path` (an SQLite database it opened read-only).
std::string whyNotWritable(const std::string& path);
// Renames `from` to `to`; the reason when it cannot.
std::optional<std::string> moveFile(const std::string& from, const std::string& to);
// Renames `from` to `to`, or else removes it; nothing also when there is no `from`. The
// reason when it stays where it is.
std::optional<std::string> moveOrRemoveFile(const std::string& from, const std::string& to);
// Now in UTC, "YYYYMMDDTHHMMSS.mmmZ".
std::string utcTimestamp();

}  // namespace zelvo::portable
