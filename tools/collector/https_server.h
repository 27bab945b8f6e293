#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "collector/tls_context.h"

namespace zelvo::collector {

// What one client may cost the server. Past a limit the request is answered with the status
// named, and the connection is closed.
struct ServerLimits {
  std::size_t maxConnections = 256;        // served at once; the next ones get 503
  // The whole head (request line and fields), and a chunked body's trailer, are read into
  // one buffer of at most about 60 KiB whatever these say: below the 65,533 bytes Beast
  // holds a field in, so that no field can reach that size.
  std::size_t maxTargetBytes = 32 * 1024;  // path and query: 414
  std::size_t maxHeaderBytes = 16 * 1024;  // header fields, names and values: 431
  std::size_t maxBodyBytes = 64 * 1024;    // 413
  double requestsPerSecond = 1000;         // on average, with bursts of as many: 503
  // The TLS handshake and the first request of a connection must both be done within this
  // time from the connection; every later request within this time from the previous answer.
  std::chrono::milliseconds requestDeadline{5000};
  int threads = 2;
};

// A request as received; the views are valid while the handler runs.
struct Request {
  std::string_view method;
  std::string_view target;  // as sent: path, "?" and query, nothing decoded
  std::string_view host;
  std::string_view userAgent;
};

struct Answer {
  int status = 200;
  std::string contentType;
  std::string body;
  std::vector<std::pair<std::string, std::string>> headers;  // more header fields
  // When set, the body is sent in chunks as it is made instead of `body`: each call (on the
  // server's threads, one at a time per answer) returns the next piece, and an empty piece
  // ends it. A client that reads slowly holds one piece, never the whole body.
  std::function<std::string()> nextPiece;
};

// An HTTPS/1.1 server on 127.0.0.1 (Boost.Beast on Boost.Asio with OpenSSL): concurrent
// connections with keep-alive, each bounded by the limits above. The handler runs on the
// server's threads, several requests at once. An exception that escapes anything a
// connection runs ends that connection, never the server.
// Thread: any.
class HttpsServer {
 public:
  using Handler = std::function<Answer(const Request&)>;

  // Listening when it returns (`port` 0: an ephemeral one). Throws std::runtime_error when
  // it cannot listen.
  HttpsServer(SslContextPtr context, int port, ServerLimits limits, Handler handler);
  // Stops, lets the requests in progress be answered for up to a second, and waits for its
  // threads.
  ~HttpsServer();
  HttpsServer(const HttpsServer&) = delete;
  HttpsServer& operator=(const HttpsServer&) = delete;

  int port() const { return port_; }
  // Stops accepting and closes the connections waiting for a next request; the requests in
  // progress are answered and their connections closed. Returns at once. Idempotent.
  void stop();

  struct State;

 private:
  std::unique_ptr<State> state_;
  int port_ = 0;
  std::vector<std::thread> threads_;
};

}  // namespace zelvo::collector
