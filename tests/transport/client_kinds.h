#pragma once

#include <memory>
#include <string>

#include "zelvo/linux/linux_platform.h"

namespace zelvo::transport {

// The HTTP clients every conformance row runs against: curl (the platform's own), Qt's
// QNetworkAccessManager, libsoup on GIO, and a host's C handler (here one that sends with
// libcurl on a thread of its own and completes from there).
enum class ClientKind { kCurl, kQt, kSoup, kCHandler };

std::string nameOf(ClientKind kind);

// What the rows vary: the trust, and the limit of a whole request.
struct ClientSetup {
  std::string caFile;
  std::chrono::milliseconds requestTimeout{std::chrono::seconds(5)};
};

// `options` with the client of `kind` made for `setup` (null for curl, which reads the options).
void useClient(ClientKind kind, const ClientSetup& setup, linux_platform::LinuxPlatformOptions& options);

}  // namespace zelvo::transport
