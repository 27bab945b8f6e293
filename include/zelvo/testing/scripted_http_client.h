#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zelvo/platform/http_client.h"
#include "zelvo/export.h"

namespace zelvo::testing {

// An HTTP client that records every request and answers as the test scripts it. A request
// with no scripted answer fails the test loudly through the unscripted handler (by default
// it answers with a transport error "unscripted request" and counts it).
class ZELVO_EXPORT ScriptedHttpClient : public HttpClient {
 public:
  struct Answer {
    enum class Kind { kStatus, kError, kNever } kind = Kind::kStatus;
    int status = 200;
    static Answer withStatus(int code) { return {Kind::kStatus, code}; }
    static Answer error() { return {Kind::kError, 0}; }
    // The request is never answered (its completion is dropped).
    static Answer never() { return {Kind::kNever, 0}; }
  };
  // Where completions run: inline inside startGet, on a separate thread (one at a time,
  // in request order), or held until deliverPending() on the calling thread.
  enum class Delivery { kInline, kThread, kDeferred };

  struct Recorded {
    HttpRequest request;
    std::string header(const std::string& name) const;
  };

  explicit ScriptedHttpClient(Delivery delivery = Delivery::kDeferred);
  ~ScriptedHttpClient() override;

  void startGet(HttpRequest request, HttpCompletion done) override;
  std::optional<std::string> fetch(const std::string& url) override;
  // A small portable check, never looser than the curl client's (see url_characters.h).
  bool acceptsUrl(std::string_view url) const override;

  // Appends answers to the queue; every request started takes the next one.
  void enqueue(Answer answer);
  void enqueueStatuses(std::initializer_list<int> statuses);
  // Used when the queue is empty; by default none, so an unscripted request is an error.
  void setDefaultAnswer(std::optional<Answer> answer);
  // What fetch() returns for a URL: a body, or nothing (download failed).
  void setFetchResult(const std::string& url, std::optional<std::string> body);
  void setDelivery(Delivery delivery);
  // Runs the held completions (and those of requests they start). Returns how many ran.
  std::size_t deliverPending();
  // Waits (in real time, bounded) until the completion thread is idle.
  bool waitUntilIdle(double timeoutSeconds = 5.0);

  std::vector<Recorded> requests() const;
  std::size_t requestCount() const;
  std::vector<std::string> fetchedUrls() const;
  std::size_t unscriptedCount() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zelvo::testing
