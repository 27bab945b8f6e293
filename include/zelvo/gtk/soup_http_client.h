#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "zelvo/platform/http_client_support.h"
#include "zelvo/platform/http_client.h"

namespace zelvo::gtk {

struct SoupHttpClientOptions {
  // A PEM bundle of the authorities to trust instead of the system's (GIO's TLS database).
  std::optional<std::string> caFile;
  // The limit of each whole request, instead of the one the library asks for.
  std::optional<std::chrono::milliseconds> requestTimeout;
  // The largest body fetch() keeps; a bigger one makes the fetch fail.
  std::size_t maxBodyBytes = 1024 * 1024;
};

// An HttpClient on libsoup 3 and GIO: requests go the way a GNOME application's go, through
// the default GProxyResolver (the desktop's proxy settings, or the network portal inside a
// sandbox) and GIO's TLS backend (glib-networking). HTTPS only, the peer and its name always
// verified, redirects never followed, the whole request bounded by its time limit.
//
// The session runs on a thread of the client's own with its own GMainContext, where every
// completion is called, so pings do not wait for a busy GTK thread. Destruction completes the
// requests in flight with "cancelled"; destroy it on any thread but within one of its
// completions.
class SoupHttpClient : public HttpClient {
 public:
  using Options = SoupHttpClientOptions;
  class Worker;

  explicit SoupHttpClient(Options options = {});
  ~SoupHttpClient() override;
  SoupHttpClient(const SoupHttpClient&) = delete;
  SoupHttpClient& operator=(const SoupHttpClient&) = delete;

  void startGet(HttpRequest request, HttpCompletion done) override;
  std::optional<std::string> fetch(const std::string& url) override;
  // Whether GLib's URI parser, as libsoup calls it, reads `url` and writes it back unchanged.
  bool acceptsUrl(std::string_view url) const override;

 private:
  void send(HttpRequest request, bool keepBody, HttpBodyCompletion done);

  std::unique_ptr<Worker> worker_;
  std::thread thread_;
  std::mutex mutex_;
  bool closed_ = false;
};

}  // namespace zelvo::gtk
