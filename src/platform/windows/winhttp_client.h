#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zelvo/platform/http_client.h"
#include "zelvo/platform/log_sink.h"

namespace zelvo::windows_platform {

struct WinHttpClientOptions {
  // As on Linux (see HostPlatformOptions): the endpoint in place of the library's hosts, a PEM
  // file of the only authorities to trust, "HOST:PORT:ADDR:PORT" connection mappings, the
  // limits of each request.
  std::optional<std::string> endpoint;
  std::optional<std::string> caFile;
  std::vector<std::string> connectTo;
  // "http://host:port" or "host:port"; not given: the user's proxy settings (a fixed proxy
  // and its bypass list; automatic configuration scripts are not read); "": no proxy.
  std::optional<std::string> proxy;
  std::optional<std::chrono::milliseconds> requestTimeout;
  std::optional<std::chrono::milliseconds> connectTimeout;
  std::size_t maxBodyBytes = 1024 * 1024;
  // Why the client must send nothing, as its owner decided; given, it is the client's
  // configuration error.
  std::optional<std::string> refusal;
  // Where the client reports its own faults. Not owned; must outlive the client. May be null.
  LogSink* log = nullptr;
};

// HTTPS-only client on WinHTTP. Before each request, a TLS handshake of our own (Schannel)
// fetches the server's certificate and checks it (CertificateCheck): only then does WinHTTP
// send the request, so nothing of a ping reaches a server that fails the check. After the
// answer, the certificate WinHTTP saw must be the one checked. Redirects are never followed.
//
// Requests from startGet() run one after another on the client's own thread, and their
// completions run there too. Destruction cancels the request in flight and fails those still
// queued with an HttpError "cancelled"; a completion may destroy the client.
class WinHttpClient : public HttpClient {
 public:
  using Options = WinHttpClientOptions;

  explicit WinHttpClient(Options options = {});
  ~WinHttpClient() override;
  WinHttpClient(const WinHttpClient&) = delete;
  WinHttpClient& operator=(const WinHttpClient&) = delete;

  void startGet(HttpRequest request, HttpCompletion done) override;
  std::optional<std::string> fetch(const std::string& url) override;
  bool acceptsUrl(std::string_view url) const override;

  // Why the options cannot be used (a malformed endpoint, an unreadable CA file, a proxy
  // WinHTTP cannot use), or nothing. Such a client sends nothing. Thread: any.
  const std::optional<std::string>& configurationError() const;

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace zelvo::windows_platform
