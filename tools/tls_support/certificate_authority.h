#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

namespace zelvo::tls {

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

// A throw-away certificate authority living in memory: it issues server certificates for
// local HTTPS servers (tests, the collector, the demo), and its own certificate can be written
// out for a client to trust. Every authority has a name of its own, so a stranger's
// certificate never passes for its. Throws std::runtime_error when OpenSSL fails.
// Thread: any; an authority is read-only once made.
class CertificateAuthority {
 public:
  CertificateAuthority();

  // A server certificate for "localhost", 127.0.0.1 (unless `local` is false) and `hostNames`,
  // valid for a day.
  KeyAndCertificate issueServerCertificate(const std::vector<std::string>& hostNames, bool local = true) const;
  // Writes the authority's certificate as PEM to `path`, replacing the file.
  void writeCertificate(const std::string& path) const;

 private:
  KeyAndCertificate authority_;
};

}  // namespace zelvo::tls
