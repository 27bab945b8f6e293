#pragma once

#include <httplib.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "integration/test_certificate_authority.h"

namespace zelvo::integration {

struct RecordedRequest {
  std::string method;
  std::string target;  // the request line's target as sent: path and query, undecoded
  std::string path;
  std::string query;         // after the "?", undecoded; empty when there is none
  httplib::Headers headers;  // as sent; names compare without case
};

// How the server answers one request.
struct Reply {
  int status = 200;
  // Never answer: hold the request until the server stops (or kHangLimit has passed).
  bool hang = false;
};

// An HTTPS server on 127.0.0.1 (ephemeral port) for tests, with a certificate of its own
// throw-away authority valid for "localhost", 127.0.0.1 (unless `localNames` is false) and the
// given host names. It
// records every request, answers by a script (200 once the script is used up) or with a
// body served for a path, and stops by itself after `maxLifetime` even if nobody stops it.
// Thread: any; its handlers run on the server's own threads, which ignore SIGPIPE.
class LocalHttpsServer {
 public:
  static constexpr std::chrono::seconds kHangLimit{5};

  explicit LocalHttpsServer(std::vector<std::string> hostNames = {},
                            std::chrono::seconds maxLifetime = std::chrono::seconds(30), bool localNames = true);
  ~LocalHttpsServer();
  LocalHttpsServer(const LocalHttpsServer&) = delete;
  LocalHttpsServer& operator=(const LocalHttpsServer&) = delete;

  int port() const { return port_; }
  // The PEM of the authority that signed the server's certificate.
  const std::string& caFile() const { return authority_.caFile(); }
  // A curl connect-to entry sending `host` on this port to the server.
  std::string connectTo(const std::string& host) const;
  // "https://host:port" followed by `pathAndQuery`.
  std::string url(const std::string& host, const std::string& pathAndQuery) const;

  // Appends answers for the next requests, in order.
  void script(const std::vector<Reply>& replies);
  // Answers every GET of `path` with 200 and `body`, ahead of the script.
  void serve(const std::string& path, std::string body);

  std::vector<RecordedRequest> requests() const;
  // Waits until at least `count` requests have arrived; whether they did within `limit`.
  bool waitForRequests(std::size_t count, std::chrono::milliseconds limit) const;

 private:
  void handle(const httplib::Request& request, httplib::Response& response);
  void stop();

  TestCertificateAuthority authority_;
  std::unique_ptr<httplib::SSLServer> server_;
  int port_ = -1;

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<RecordedRequest> requests_;
  std::deque<Reply> script_;
  std::map<std::string, std::string> bodies_;
  bool stopping_ = false;

  std::thread listener_;
  std::thread watchdog_;
};

}  // namespace zelvo::integration
