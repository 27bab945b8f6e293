#pragma once

#include <windows.h>
// After windows.h, which it needs.
#include <wincrypt.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "zelvo/platform/http_client.h"

namespace zelvo::windows_platform {

struct CertificateFree {
  void operator()(PCCERT_CONTEXT certificate) const { CertFreeCertificateContext(certificate); }
};
using Certificate = std::unique_ptr<const CERT_CONTEXT, CertificateFree>;

// Where a TLS handshake goes: the server to connect to, the name it is asked for (SNI) and a
// proxy "host:port" to tunnel through (HTTP CONNECT), if any.
struct TlsProbeTarget {
  std::string connectHost;
  uint16_t connectPort = 443;
  std::string serverName;
  std::optional<std::string> proxy;
};

// A TLS handshake with Schannel and nothing after it: the server's certificate, to check
// before any request goes out (WinHTTP sends the request on the connection it verified itself,
// and under Wine it sends it even when the request is closed from the callback that sees the
// certificate). The server sees a handshake and a closed connection, no HTTP.
// A failure is described as an HttpError without the URL. Thread: any.
class TlsProbe {
 public:
  using Clock = std::chrono::steady_clock;
  TlsProbe();
  ~TlsProbe();
  TlsProbe(const TlsProbe&) = delete;
  TlsProbe& operator=(const TlsProbe&) = delete;

  std::variant<Certificate, HttpError> run(const TlsProbeTarget& target, Clock::time_point deadline,
                                           std::chrono::milliseconds connectLimit);
  // Makes a run() in progress on another thread fail at once. Thread: any.
  void cancel();

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace zelvo::windows_platform
