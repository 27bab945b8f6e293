#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "zelvo/linux/curl_http_client_options.h"
#include "zelvo/platform/http_client.h"
#include "zelvo/export.h"

namespace zelvo::portable {
class IoThread;
}  // namespace zelvo::portable

namespace zelvo::linux_platform {

class CurlWorker;
using portable::IoThread;

// HTTPS-only client on libcurl. TLS peer and host verification are always on; redirects
// are never followed. Requests from startGet() run on the platform's I/O thread (one of the
// client's own when it is made alone), through curl's multi interface, and their
// completions run there too.
//
// Destruction aborts the transfers still in flight: their completions run (on the I/O
// thread) with an HttpError whose description is "cancelled", as do requests started while
// the client is going away. The destructor waits a bounded time for that; an I/O thread held
// up longer (by a completion that blocks) aborts them once it is free. Destroy the client on
// any thread, including from within a completion.
class ZELVO_EXPORT CurlHttpClient : public HttpClient {
 public:
  using Options = CurlHttpClientOptions;

  // Never throws; a client whose thread cannot start fails every request.
  explicit CurlHttpClient(Options options = {});
  // Runs its requests on `ioThread` (the Linux platform's, shared with its other services),
  // which must outlive the client.
  CurlHttpClient(Options options, std::shared_ptr<IoThread> ioThread);
  ~CurlHttpClient() override;
  CurlHttpClient(const CurlHttpClient&) = delete;
  CurlHttpClient& operator=(const CurlHttpClient&) = delete;

  // Thread: any. `done` runs once on the I/O thread (on the calling thread only when
  // the client is already gone) and may call startGet() again.
  void startGet(HttpRequest request, HttpCompletion done) override;
  // Blocks the calling thread (any but the main thread) for up to 60 seconds.
  std::optional<std::string> fetch(const std::string& url) override;
  // curl's URL parser reads it without change, host and port included; see url_acceptance.h.
  bool acceptsUrl(std::string_view url) const override;

  // Why the options cannot be used (a malformed endpoint), or nothing. Such a client sends
  // nothing: every request fails with this text. Thread: any.
  const std::optional<std::string>& configurationError() const { return configurationError_; }

 private:
  void log(const std::string& line) const;

  Options options_;
  std::optional<std::string> configurationError_;
  std::shared_ptr<CurlWorker> worker_;
};

}  // namespace zelvo::linux_platform
