#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "collector/https_server.h"
#include "collector/record_store.h"
#include "collector/request_record.h"
#include "collector/session_summary.h"
#include "collector/status_plan.h"

namespace zelvo::collector {

inline constexpr const char* kDefaultConfigBody = "{\"engagement_window\": 5}";

struct CollectorSettings {
  int port = 0;  // 0: an ephemeral port
  // The server's certificate and key, PEM files. Without them the collector makes a
  // throw-away authority and a certificate of its for the endpoint hosts, localhost and
  // 127.0.0.1, and writes the authority's certificate to `caOut` (when given) for clients.
  std::optional<std::string> certFile;
  std::optional<std::string> keyFile;
  std::optional<std::string> caOut;
  std::string configBody = kDefaultConfigBody;
  StatusPlan statuses;
  // The server stops by itself after this long, or after this many requests.
  std::chrono::seconds lifetime{60};
  std::size_t maxRequests = 1000;
  ServerLimits limits;
  // The records kept in memory (for the page and records()) hold at most about this much;
  // the oldest go first. The summary and the onRecord callback see every record.
  std::size_t maxKeptBytes = 64 * 1024 * 1024;
};

// The host names of the ping, pong and configuration endpoints.
std::vector<std::string> endpointHosts();

// A local collection service: an HTTPS server on 127.0.0.1 that takes pings on the ping path
// and serves the configuration file. It checks every ping, answers by its status plan, keeps
// a record of every request and hands each record to `onRecord` as it is made. At "/" it
// serves a live page of the records (see web_page.h); the page's own requests are neither
// recorded nor counted.
//
// Thread: any. `onRecord` runs on the server's threads, one record at a time in sequence
// order, and must not call back into the server.
class CollectorServer {
 public:
  using RecordCallback = std::function<void(const RequestRecord&)>;

  // Listening when it returns. Throws std::runtime_error when it cannot (an unusable
  // certificate, a port taken, a CA file that cannot be written).
  CollectorServer(CollectorSettings settings, RecordCallback onRecord);
  // Stops and waits for the requests in progress to be answered.
  ~CollectorServer();
  CollectorServer(const CollectorServer&) = delete;
  CollectorServer& operator=(const CollectorServer&) = delete;

  int port() const { return server_->port(); }
  // Asks the server to stop; it does within a fraction of a second. Idempotent.
  void stop();
  // Whether the server is stopping (asked to, or its lifetime or request limit was reached).
  bool stopping() const;

  // The records kept (the oldest may have been dropped, see maxKeptBytes).
  std::vector<RequestRecord> records() const;
  // The summary of every request received.
  SessionSummary summary() const;
  std::size_t pingCount() const;
  // Changes the answer to ping `pingNumber` (counted from 1), for one not yet received.
  void answerPing(std::size_t pingNumber, int status);

 private:
  Answer handle(const Request& request);
  Answer pageAnswer(std::string_view path, std::string_view query) const;

  CollectorSettings settings_;
  RecordCallback onRecord_;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  RecordStore records_;
  std::size_t pingCount_ = 0;
  bool stopping_ = false;

  // Last: their threads use everything above.
  std::unique_ptr<HttpsServer> server_;
  std::thread watchdog_;
};

}  // namespace zelvo::collector
