#pragma once

#include <windows.h>
// After windows.h, which it needs.
#include <winhttp.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/windows/windows_endpoint.h"
#include "platform/windows/certificate_check.h"
#include "platform/windows/winhttp_client.h"

namespace zelvo::windows_platform {

// "HOST:PORT:ADDR:PORT": a URL naming HOST:PORT connects to ADDR:PORT while the certificate is
// still checked against HOST. An empty HOST or PORT on the left matches any.
struct ConnectMapping {
  std::string host;
  std::optional<uint16_t> port;
  std::string toHost;
  uint16_t toPort = 0;
};

// What every request of a client shares, read once from its options: the endpoint, the
// certificate check, the mappings, the proxy and the WinHTTP session. Thread: immutable.
class WinHttpSetup {
 public:
  explicit WinHttpSetup(const WinHttpClientOptions& options);
  ~WinHttpSetup();
  WinHttpSetup(const WinHttpSetup&) = delete;
  WinHttpSetup& operator=(const WinHttpSetup&) = delete;

  // Why nothing can be sent, or nothing.
  std::optional<std::string> error;
  std::optional<WindowsEndpoint> endpoint;
  CertificateCheck check;
  bool ownRoots = false;  // the CA file's authorities in place of the system's
  std::vector<ConnectMapping> mappings;
  std::optional<std::string> proxy;  // "host:port"
  std::vector<std::string> bypass;   // hosts that go direct ("<local>", "*.example.com", names)
  HINTERNET session = nullptr;
  std::optional<std::chrono::milliseconds> requestTimeout;
  std::optional<std::chrono::milliseconds> connectTimeout;
  std::size_t maxBodyBytes = 0;

  // Whether a request to `host` goes through the proxy.
  bool proxies(const std::string& host) const;
  // Where a request to `host`:`port` connects.
  std::pair<std::string, uint16_t> connectionFor(const std::string& host, uint16_t port) const;
};

}  // namespace zelvo::windows_platform
