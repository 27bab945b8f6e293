#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace zelvo::windows_test {

// The local HTTPS servers the CI leg starts for these tests (scripts/windows-test.sh): two
// Linux zelvo-collectors on 127.0.0.1, each with an authority of its own. Nothing when the
// variable is not set.
inline std::optional<std::string> environment(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0') return std::nullopt;
  std::string text(value);
  // A Linux path, as the leg passes it, is the same file on Wine's Z: drive.
  if (text.starts_with("/")) text = "Z:" + text;
  return text;
}

// Port of the collector whose authority is in ZELVO_TEST_CA.
inline std::optional<std::string> trustedPort() { return environment("ZELVO_TEST_COLLECTOR_PORT"); }
inline std::optional<std::string> trustedAuthority() { return environment("ZELVO_TEST_CA"); }
// Port of the collector signed by another authority, and the file where it records requests.
inline std::optional<std::string> untrustedPort() { return environment("ZELVO_TEST_OTHER_COLLECTOR_PORT"); }
inline std::optional<std::string> untrustedRecords() { return environment("ZELVO_TEST_OTHER_RECORDS"); }

}  // namespace zelvo::windows_test
