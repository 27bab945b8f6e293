#pragma once

#include <curl/curl.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>

#include "platform/linux/curl_transfer.h"
#include "zelvo/linux/curl_http_client.h"

namespace zelvo::linux_platform {

// The worker side of CurlHttpClient: a queue of requests and the curl multi loop that runs
// them. Shared between the client and its thread, so a thread that outlives a timed-out
// shutdown still finds its state alive.
class CurlWorker {
 public:
  explicit CurlWorker(CurlHttpClientOptions options);

  // Queues a request for the worker. When the worker has already finished, completes it
  // with "cancelled" on the calling thread instead. Thread: any.
  void enqueue(HttpRequest request, HttpCompletion done);
  // The worker thread's body; returns once stop() was asked for and every request has
  // been completed.
  void run();
  // Asks run() to abort its transfers and return. Thread: any.
  void stop();
  // Marks a worker whose thread never started: requests then fail at once.
  void abandon();
  // Whether run() has returned (or will never run) within `limit`.
  bool waitUntilFinished(std::chrono::milliseconds limit);

 private:
  struct Pending {
    HttpRequest request;
    HttpCompletion done;
  };
  struct Finished {
    HttpCompletion done;
    HttpResult result;
  };

  void start(std::deque<Pending>& incoming, std::vector<Finished>& finished);
  void collect(std::vector<Finished>& finished);
  void cancelAll(std::deque<Pending>& incoming);
  void complete(const HttpCompletion& done, const HttpResult& result) const;
  void log(const std::string& line) const;

  const CurlHttpClientOptions options_;

  // Guards the fields below it. Never held while curl runs a transfer or a completion runs.
  std::mutex mutex_;
  std::condition_variable finishedChanged_;
  std::deque<Pending> pending_;
  // Written by the worker thread under the lock, so it reads it freely; others read it
  // under the lock to wake the worker. Set while run() can be woken through it.
  CURLM* multi_ = nullptr;
  bool stopping_ = false;
  bool closed_ = false;    // no more requests are taken
  bool finished_ = false;  // run() has returned

  // Worker thread only.
  std::map<CURL*, std::pair<std::unique_ptr<CurlTransfer>, HttpCompletion>> active_;
};

}  // namespace zelvo::linux_platform
