#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

namespace zelvo::integration {

struct EvpPkeyFree {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct X509Free {
  void operator()(X509* certificate) const { X509_free(certificate); }
};
using KeyPtr = std::unique_ptr<EVP_PKEY, EvpPkeyFree>;
using CertificatePtr = std::unique_ptr<X509, X509Free>;

struct KeyAndCertificate {
  KeyPtr key;
  CertificatePtr certificate;
};

// A throw-away certificate authority made at test time: its certificate is written as PEM
// to a temporary directory (removed again by the destructor) for a client to trust, and it
// issues server certificates. Every authority has a name of its own, so a stranger's
// certificate never passes for its. Throws std::runtime_error when OpenSSL fails.
class TestCertificateAuthority {
 public:
  TestCertificateAuthority();
  ~TestCertificateAuthority();
  TestCertificateAuthority(const TestCertificateAuthority&) = delete;
  TestCertificateAuthority& operator=(const TestCertificateAuthority&) = delete;

  // The PEM file of the authority's certificate.
  const std::string& caFile() const { return caFile_; }

  // A server certificate for "localhost", 127.0.0.1 and `hostNames`, valid for a day.
  KeyAndCertificate issueServerCertificate(const std::vector<std::string>& hostNames) const;

 private:
  KeyAndCertificate authority_;
  std::string directory_;
  std::string caFile_;
};

}  // namespace zelvo::integration
