#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

#include "tls_support/certificate_authority.h"

namespace zelvo::collector {

struct SslContextFree {
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using SslContextPtr = std::unique_ptr<SSL_CTX, SslContextFree>;

// A TLS server context (TLS 1.2 and later) with this identity, or with the PEM certificate
// chain and key in these files. Throw std::runtime_error when OpenSSL refuses them.
// Thread: any; the caller owns the context.
SslContextPtr serverContext(const tls::KeyAndCertificate& identity);
SslContextPtr serverContext(const std::string& certificateFile, const std::string& keyFile);

}  // namespace zelvo::collector
