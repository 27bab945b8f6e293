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

// How the library's requests leave the process. The Linux platform brings one on curl; the Qt
// and GTK integrations bring theirs; a host may bring its own (HostPlatformOptions::httpClient)
// to send through the stack, proxies and certificate pinning it already uses.
//
// What a client must do, and what stays the library's:
// - Completion: `done` runs exactly once per startGet(), on any thread (the caller's too, even
//   before startGet() returns), never while the client holds a lock that startGet() takes:
//   a completion may start the next request. A client going away completes what it still
//   holds with an HttpError whose description is "cancelled".
// - Answers: any HTTP status is an HttpResponse (the library reads 200, 202, 500 and 503; the
//   rest is a rejection), with `url` the URL the library asked for. Redirects are not
//   followed: a 3xx is an answer like any other.
// - Failures: kTls when the TLS handshake fails, an untrusted certificate or one for another
//   name above all (and then nothing may have been sent); kTimeout when no whole answer came
//   within HttpRequest::timeoutSeconds; kConnection when the server or the proxy could not be
//   reached or hung up; kOther for anything else, a request never sent included. `failingUrl`
//   is the URL the library asked for.
// - Only https: a client sends nothing over plain HTTP, and verifies the peer and its name.
// - The configuration: fetch() returns the body of a 2xx answer, whole, and nothing for any
//   other outcome.
// - The URL check: acceptsUrl() says whether the client would send a URL exactly as written.
//   The Linux platform checks every ping's URL with its own strict parser first and asks the
//   client only about the URLs that pass; the library drops a ping that either refuses.
// - The endpoint: the Linux platform moves the library's URLs onto its `endpoint` before they
//   reach a client of the host's, and names the library's URLs in what the client returns.
class ZELVO_EXPORT HttpClient {
 public:
  virtual ~HttpClient() = default;
  // Starts a GET and returns at once; `done` as above. The response body is discarded.
  // Thread: any.
  virtual void startGet(HttpRequest request, HttpCompletion done) = 0;
  // A blocking GET with default timeout and no headers of our own: the body of a 2xx
  // answer, or nothing for any failure or other status. Thread: any but the main thread.
  virtual std::optional<std::string> fetch(const std::string& url) = 0;
  // Whether startGet() would send `url` to the server exactly as written, as this client's
  // own URL parser reads it. The library drops a ping whose URL is refused (with a log line)
  // rather than have the server read something else than what was built. By default every
  // URL the platform's own check has let through. Thread: any.
  virtual bool acceptsUrl(std::string_view url) const { return !url.empty(); }
};

}  // namespace zelvo
