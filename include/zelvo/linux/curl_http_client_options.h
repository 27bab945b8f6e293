#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "zelvo/platform/log_sink.h"
#include "zelvo/export.h"

namespace zelvo::linux_platform {

// How a CurlHttpClient makes its requests. A header of its own, so that the client's parts
// (its transfers and its worker) take the options without the client that owns them.
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

}  // namespace zelvo::linux_platform
