#pragma once

#include <curl/curl.h>

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "platform/linux/curl_transfer.h"
#include "platform/portable/io_thread.h"
#include "zelvo/linux/curl_http_client.h"

namespace zelvo::linux_platform {

// The I/O-thread side of CurlHttpClient: a curl multi handle driven through curl's socket
// interface, so its sockets and timeouts are one source among the others of the I/O thread.
// Shared between the client and the tasks it posts, so a task still queued when the client
// goes finds its state alive.
class CurlWorker : public IoThread::Source, public std::enable_shared_from_this<CurlWorker> {
 public:
  CurlWorker(CurlHttpClientOptions options, std::shared_ptr<IoThread> io);
  ~CurlWorker() override;

  // Starts a request on the I/O thread. When the worker is closed or has no thread,
  // completes it with "cancelled" on the calling thread instead. Thread: any.
  void enqueue(HttpRequest request, HttpCompletion done);
  // Aborts the transfers (their completions run with "cancelled") and takes no more
  // requests. Waits up to `limit` for it to happen on the I/O thread; false when it did not.
  // Thread: any.
  bool close(std::chrono::milliseconds limit);

  void prepare(std::vector<pollfd>& fds, std::optional<IoThread::Clock::time_point>& deadline) override;
  void dispatch(const pollfd* fds, std::size_t count, IoThread::Clock::time_point now) override;

 private:
  struct Finished {
    HttpCompletion done;
    HttpResult result;
  };

  // I/O thread only, all of them.
  void start(HttpRequest request, HttpCompletion done);
  void closeNow();
  void collect(std::vector<Finished>& finished);
  void complete(const HttpCompletion& done, const HttpResult& result) const;
  void log(const std::string& line) const;
  static int onSocket(CURL* easy, curl_socket_t socket, int what, void* self, void* socketData);
  static int onTimer(CURLM* multi, long timeoutMillis, void* self);

  const CurlHttpClientOptions options_;
  const std::shared_ptr<IoThread> io_;

  // I/O thread only.
  CURLM* multi_ = nullptr;  // made with the first request
  bool closed_ = false;
  std::map<curl_socket_t, short> sockets_;  // what curl waits for on each of its sockets
  std::optional<IoThread::Clock::time_point> timeout_;
  std::map<CURL*, std::pair<std::unique_ptr<CurlTransfer>, HttpCompletion>> active_;
};

}  // namespace zelvo::linux_platform
