#include "tls_support/certificate_authority.h"

#include <openssl/bn.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <stdexcept>
#include <utility>

namespace zelvo::tls {
namespace {

void check(bool ok, const char* what) {
  if (!ok) throw std::runtime_error(std::string("OpenSSL failed: ") + what);
}

std::string randomHex(int bytes) {
  std::vector<unsigned char> buffer(static_cast<size_t>(bytes));
  check(RAND_bytes(buffer.data(), bytes) == 1, "RAND_bytes");
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  for (unsigned char byte : buffer) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

KeyPtr newKey() {
  KeyPtr key(EVP_EC_gen("P-256"));
  check(key != nullptr, "EVP_EC_gen");
  return key;
}

// Signs a certificate for `key` named `commonName`, issued by `issuer` (self-signed when
// null) with `issuerKey`, carrying the given X.509v3 extensions in order.
CertificatePtr makeCertificate(EVP_PKEY* key, const std::string& commonName, X509* issuer,
                               EVP_PKEY* issuerKey,
                               const std::vector<std::pair<int, std::string>>& extensions) {
  CertificatePtr certificate(X509_new());
  X509* cert = certificate.get();
  check(cert != nullptr, "X509_new");
  check(X509_set_version(cert, 2) == 1, "X509_set_version");
  BIGNUM* serial = BN_new();
  check(serial != nullptr && BN_hex2bn(&serial, randomHex(8).c_str()) != 0, "BN_hex2bn");
  const bool serialSet = BN_to_ASN1_INTEGER(serial, X509_get_serialNumber(cert)) != nullptr;
  BN_free(serial);
  check(serialSet, "BN_to_ASN1_INTEGER");
  check(X509_gmtime_adj(X509_getm_notBefore(cert), -3600) != nullptr, "notBefore");
  check(X509_gmtime_adj(X509_getm_notAfter(cert), 24 * 3600) != nullptr, "notAfter");
  check(X509_set_pubkey(cert, key) == 1, "X509_set_pubkey");
  X509_NAME* name = X509_get_subject_name(cert);
  check(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                                   reinterpret_cast<const unsigned char*>(commonName.c_str()), -1,
                                   -1, 0) == 1,
        "CN");
  check(X509_set_issuer_name(cert, issuer != nullptr ? X509_get_subject_name(issuer) : name) == 1,
        "X509_set_issuer_name");
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer != nullptr ? issuer : cert, cert, nullptr, nullptr, 0);
  for (const auto& [nid, value] : extensions) {
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str());
    check(extension != nullptr, "X509V3_EXT_conf_nid");
    const bool added = X509_add_ext(cert, extension, -1) == 1;
    X509_EXTENSION_free(extension);
    check(added, "X509_add_ext");
  }
  check(X509_sign(cert, issuerKey, EVP_sha256()) > 0, "X509_sign");
  return certificate;
}

}  // namespace

CertificateAuthority::CertificateAuthority() {
  authority_.key = newKey();
  authority_.certificate = makeCertificate(authority_.key.get(), "Zelvo Local CA " + randomHex(6),
                                           nullptr, authority_.key.get(),
                                           {{NID_basic_constraints, "critical,CA:TRUE"},
                                            {NID_key_usage, "critical,keyCertSign,cRLSign"},
                                            {NID_subject_key_identifier, "hash"}});
}

void CertificateAuthority::writeCertificate(const std::string& path) const {
  FILE* file = std::fopen(path.c_str(), "w");
  check(file != nullptr, "fopen");
  const bool written = PEM_write_X509(file, authority_.certificate.get()) == 1;
  check(std::fclose(file) == 0 && written, "PEM_write_X509");
}

KeyAndCertificate CertificateAuthority::issueServerCertificate(
    const std::vector<std::string>& hostNames, bool local) const {
  std::string altNames = local ? "DNS:localhost,IP:127.0.0.1" : "";
  for (const std::string& host : hostNames) altNames += (altNames.empty() ? "DNS:" : ",DNS:") + host;
  KeyAndCertificate server;
  server.key = newKey();
  server.certificate = makeCertificate(server.key.get(), local || hostNames.empty() ? "localhost" : hostNames.front().c_str(), authority_.certificate.get(),
                                       authority_.key.get(),
                                       {{NID_basic_constraints, "critical,CA:FALSE"},
                                        {NID_key_usage, "critical,digitalSignature"},
                                        {NID_ext_key_usage, "serverAuth"},
                                        {NID_subject_alt_name, altNames},
                                        {NID_subject_key_identifier, "hash"},
                                        {NID_authority_key_identifier, "keyid:always"}});
  return server;
}

}  // namespace zelvo::tls
