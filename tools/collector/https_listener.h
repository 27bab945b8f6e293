#pragma once

#include <openssl/ssl.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "collector/http_head.h"
#include "common/certificate_authority.h"

namespace zelvo::collector {

struct Answer {
  int status = 200;
  std::string contentType;
  std::string body;
};

struct SslContextFree {
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using SslContextPtr = std::unique_ptr<SSL_CTX, SslContextFree>;

// A TLS server context with this identity, or with the PEM certificate chain and key in these
// files. Throw std::runtime_error when OpenSSL refuses them.
SslContextPtr serverContext(const tls::KeyAndCertificate& identity);
SslContextPtr serverContext(const std::string& certificateFile, const std::string& keyFile);

// A small HTTPS/1.1 server on 127.0.0.1: one request per connection, one connection at a
// time, each bounded to a few seconds, which is all a development collector needs. Request
// bodies are not read. Its thread ignores SIGPIPE.
// Thread: any. The handler runs on the listener's one thread.
class HttpsListener {
 public:
  using Handler = std::function<Answer(const RequestHead&)>;

  // Listening when it returns (`port` 0: an ephemeral one). Throws std::runtime_error when
  // it cannot listen.
  HttpsListener(SslContextPtr context, int port, Handler handler);
  // Stops and waits for the connection in progress.
  ~HttpsListener();
  HttpsListener(const HttpsListener&) = delete;
  HttpsListener& operator=(const HttpsListener&) = delete;

  int port() const { return port_; }
  // Stops accepting; returns at once, the thread ends within a fraction of a second.
  void stop() { stopping_ = true; }

 private:
  void run();
  void serve(int connection);

  SslContextPtr context_;
  Handler handler_;
  int socket_ = -1;
  int port_ = 0;
  std::atomic<bool> stopping_{false};
  std::thread thread_;
};

}  // namespace zelvo::collector
