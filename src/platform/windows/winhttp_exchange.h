#pragma once

#include <windows.h>
// After windows.h, which it needs.
#include <winhttp.h>

#include <chrono>
#include <mutex>
#include <optional>
#include <string>

#include "platform/windows/tls_probe.h"
#include "platform/windows/winhttp_setup.h"
#include "zelvo/platform/http_client.h"

namespace zelvo::windows_platform {

// One GET: the URL moved onto the endpoint, the server's certificate fetched and checked by a
// handshake of our own, then the request through WinHTTP with the same server's certificate
// required. Thread: run() on one thread; cancel() from any.
class WinHttpExchange {
 public:
  WinHttpExchange(const WinHttpSetup& setup, HttpRequest request) : setup_(setup), request_(std::move(request)) {}
  WinHttpExchange(const WinHttpExchange&) = delete;
  WinHttpExchange& operator=(const WinHttpExchange&) = delete;

  // The answer, with its body appended to `body` when given (up to the setup's limit).
  HttpResult run(std::string* body);
  // Makes run() end soon with an HttpError "cancelled".
  void cancel();

 private:
  HttpError error(HttpError::Kind kind, std::string text) const { return HttpError{std::move(text), request_.url, kind}; }
  HttpError lastError(const char* during);
  struct Sending {
    std::chrono::steady_clock::time_point deadline;
    std::chrono::milliseconds connectLimit;
    bool proxied = false;
    PCCERT_CONTEXT checked = nullptr;
    std::optional<std::string> hostHeader;
  };
  HttpResult send(HINTERNET request, const Sending& how, std::string* body);
  bool isCancelled();

  const WinHttpSetup& setup_;
  const HttpRequest request_;
  TlsProbe probe_;
  std::mutex mutex_;
  HINTERNET handle_ = nullptr;  // the request in flight; guarded by mutex_
  bool cancelled_ = false;      // guarded by mutex_
};

}  // namespace zelvo::windows_platform
