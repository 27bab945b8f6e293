#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "zelvo/export.h"

namespace zelvo {

struct ZELVO_EXPORT HttpRequest {
  std::string url;
  std::vector<std::pair<std::string, std::string>> headers;
  double timeoutSeconds = 60.0;
  // Neither a local nor a proxy cache may answer.
  bool ignoreCaches = false;
};

// An HTTP answer, whatever its status.
struct ZELVO_EXPORT HttpResponse {
  int statusCode = 0;
  std::string url;  // the URL that answered
};

// No HTTP answer: timeout, no connection, TLS failure, refused URL.
struct ZELVO_EXPORT HttpError {
  // What went wrong, as far as the client can tell.
  enum class Kind {
    kConnection,  // the server or proxy could not be reached, or hung up
    kTls,         // the TLS handshake failed: most often a certificate that is not trusted
    kTimeout,     // no whole answer within the request's time limit
    kOther,       // never sent (a refused URL, a client going away) or another failure
  };
  std::string description;
  std::string failingUrl;
  Kind kind = Kind::kOther;
};

using HttpResult = std::variant<HttpResponse, HttpError>;
using HttpCompletion = std::function<void(const HttpResult&)>;

class ZELVO_EXPORT HttpClient {
 public:
  virtual ~HttpClient() = default;
  // Starts a GET and returns at once. `done` runs exactly once, on a thread of the client's
  // (not necessarily the caller's, never while startGet holds a lock of the client) and may
  // start further requests. The response body is discarded. Thread: any.
  virtual void startGet(HttpRequest request, HttpCompletion done) = 0;
  // A blocking GET with default timeout and no headers of our own: the body of a 2xx
  // answer, or nothing for any failure or other status. Thread: any but the main thread.
  virtual std::optional<std::string> fetch(const std::string& url) = 0;
  // Whether startGet() would send `url` to the server exactly as written, as this client's
  // own URL parser reads it. The library drops a ping whose URL is refused (with a log line)
  // rather than have the server read something else than what was built. Thread: any.
  virtual bool acceptsUrl(std::string_view url) const = 0;
};

}  // namespace zelvo
