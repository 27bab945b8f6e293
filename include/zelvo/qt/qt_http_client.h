#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "zelvo/platform/http_client_support.h"
#include "zelvo/platform/http_client.h"

namespace zelvo::qt {

struct QtHttpClientOptions {
  // A PEM bundle of the authorities to trust instead of the application's default SSL
  // configuration's.
  std::optional<std::string> caFile;
  // The limit of each whole request, instead of the one the library asks for.
  std::optional<std::chrono::milliseconds> requestTimeout;
  // The largest body fetch() keeps; a bigger one makes the fetch fail.
  std::size_t maxBodyBytes = 1024 * 1024;
};

// An HttpClient on QNetworkAccessManager: requests go the way the application's own go, through
// its proxy settings (QNetworkProxy::setApplicationProxy, QNetworkProxyFactory) and its default
// SSL configuration (QSslConfiguration::setDefaultConfiguration), which this client keeps but
// for the CA bundle when one is given. HTTPS only, the peer always verified, redirects never
// followed, the whole request bounded by its time limit.
//
// The manager lives on a thread of the client's own, where every request runs and every
// completion is called, so pings do not wait for a busy GUI thread. Make it once a Qt
// application object exists. Destruction completes the requests in flight with "cancelled";
// destroy it on any thread but within one of its completions.
class QtHttpClient : public HttpClient {
 public:
  using Options = QtHttpClientOptions;
  class Worker;
  class Thread;
  struct Inbox;

  explicit QtHttpClient(Options options = {});
  ~QtHttpClient() override;
  QtHttpClient(const QtHttpClient&) = delete;
  QtHttpClient& operator=(const QtHttpClient&) = delete;

  void startGet(HttpRequest request, HttpCompletion done) override;
  std::optional<std::string> fetch(const std::string& url) override;
  // Whether QUrl reads `url` strictly and writes it back unchanged, as it sends it.
  bool acceptsUrl(std::string_view url) const override;

 private:
  void send(HttpRequest request, bool keepBody, HttpBodyCompletion done);

  std::shared_ptr<Inbox> inbox_;
  std::unique_ptr<Thread> thread_;
  Worker* worker_ = nullptr;  // lives on thread_, deleted there when it ends
};

}  // namespace zelvo::qt
