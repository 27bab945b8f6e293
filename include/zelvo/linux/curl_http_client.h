#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zelvo/platform/http_client.h"
#include "zelvo/platform/log_sink.h"
#include "zelvo/export.h"

namespace zelvo::portable {
class IoThread;
}  // namespace zelvo::portable

namespace zelvo::linux_platform {

class CurlWorker;
using portable::IoThread;

struct ZELVO_EXPORT CurlHttpClientOptions {
  // A PEM bundle of the certificate authorities to trust instead of the system's.
  std::optional<std::string> caFile;
  // Entries "HOST:PORT:ADDR:PORT": connect to ADDR:PORT whenever a URL names HOST:PORT,
  // while the certificate is still verified against HOST. Lets tests and the demo reach a
  // local server under the endpoint's real name.
  std::vector<std::string> connectTo;
  // The largest body fetch() keeps; a bigger one makes the fetch fail. startGet() reads at
  // most this much of a body it discards, then ends with the answer's status.
  std::size_t maxBodyBytes = 1024 * 1024;
  // Where the client reports its own faults (not the outcome of requests, which go to the
  // caller). Not owned; must outlive the client. May be null.
  LogSink* log = nullptr;
  // A base URL "https://host[:port][/prefix]" that takes the place of the library's ping, pong
  // and configuration hosts: "https://ping.<library host>/ping?..." goes to
  // "<endpoint>/ping?...", the configuration to "<endpoint>/data/config.json". Other URLs go
  // where they say. A malformed endpoint fails every request (see configurationError()).
  std::optional<std::string> endpoint = std::nullopt;
  // curl's proxy (CURLOPT_PROXY), e.g. "http://proxy:3128" or "socks5h://127.0.0.1:1080".
  // When not given, curl's usual environment variables (https_proxy, no_proxy) apply; the
  // empty string uses no proxy at all, whatever the environment says.
  std::optional<std::string> proxy = std::nullopt;
  // Limits of each request: the whole request (CURLOPT_TIMEOUT_MS), in place of the one the
  // library asks for (5 seconds for a ping, 60 for the configuration), and the connection
  // phase alone (CURLOPT_CONNECTTIMEOUT_MS; curl's default is 300 seconds).
  std::optional<std::chrono::milliseconds> requestTimeout = std::nullopt;
  std::optional<std::chrono::milliseconds> connectTimeout = std::nullopt;
};

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
