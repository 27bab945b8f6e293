#include "collector/tls_context.h"

#include <stdexcept>

namespace zelvo::collector {
namespace {

void check(bool ok, const std::string& what) {
  if (!ok) throw std::runtime_error(what);
}

SslContextPtr newContext() {
  SslContextPtr context(SSL_CTX_new(TLS_server_method()));
  check(context != nullptr, "SSL_CTX_new failed");
  SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
  return context;
}

}  // namespace

SslContextPtr serverContext(const tls::KeyAndCertificate& identity) {
  SslContextPtr context = newContext();
  check(SSL_CTX_use_certificate(context.get(), identity.certificate.get()) == 1 &&
            SSL_CTX_use_PrivateKey(context.get(), identity.key.get()) == 1,
        "cannot use the made certificate");
  return context;
}

SslContextPtr serverContext(const std::string& certificateFile, const std::string& keyFile) {
  SslContextPtr context = newContext();
  check(SSL_CTX_use_certificate_chain_file(context.get(), certificateFile.c_str()) == 1 &&
            SSL_CTX_use_PrivateKey_file(context.get(), keyFile.c_str(), SSL_FILETYPE_PEM) == 1 &&
            SSL_CTX_check_private_key(context.get()) == 1,
        "cannot use the certificate " + certificateFile + " with the key " + keyFile);
  return context;
}

}  // namespace zelvo::collector
