#pragma once

#include <windows.h>
// After windows.h, which it needs.
#include <wincrypt.h>

#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace zelvo::windows_platform {

// Decides whether a server's certificate may be trusted for a host name: a chain to a trusted
// root without any error (dates, usage for server authentication, signatures), and a
// subject-alternative name matching the host (a DNS name, with a wildcard in its first label
// only, or an IP address). The trusted roots are the system's, or only the authorities of a
// PEM file. The chain status and the root are checked here rather than through the SSL policy
// check, which passes a partial chain under Wine, and the name too, since Wine's check ignores
// IP-address names. Thread: any; immutable once made.
class CertificateCheck {
 public:
  // The system's roots.
  CertificateCheck() = default;
  // Only the authorities in the PEM file at `caFile`; the error text when none can be read.
  static std::variant<CertificateCheck, std::string> fromCaFile(const std::string& caFile);

  // Why `certificate` (with the intermediates of its store) is not to be trusted for `host`,
  // or nothing when it is.
  std::optional<std::string> problemWith(PCCERT_CONTEXT certificate, const std::string& host) const;

 private:
  struct Roots;
  std::shared_ptr<Roots> roots_;  // null: the system's
};

}  // namespace zelvo::windows_platform
