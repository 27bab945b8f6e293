#pragma once

#include <string>
#include <vector>

#include "tls_support/certificate_authority.h"
#include "integration/temp_directory.h"

namespace zelvo::integration {

using tls::KeyAndCertificate;

// A throw-away certificate authority for a test: its certificate is written as PEM to a
// temporary directory (removed again by the destructor) for a client to trust.
// Throws std::runtime_error when OpenSSL fails.
class TestCertificateAuthority {
 public:
  TestCertificateAuthority() : caFile_(directory_.file("ca.pem")) { authority_.writeCertificate(caFile_); }

  // The PEM file of the authority's certificate.
  const std::string& caFile() const { return caFile_; }

  // A server certificate for "localhost", 127.0.0.1 (unless `local` is false) and `hostNames`,
  // valid for a day.
  KeyAndCertificate issueServerCertificate(const std::vector<std::string>& hostNames, bool local = true) const {
    return authority_.issueServerCertificate(hostNames, local);
  }

 private:
  tls::CertificateAuthority authority_;
  TempDirectory directory_;
  std::string caFile_;
};

}  // namespace zelvo::integration
