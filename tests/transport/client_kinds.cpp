#include "transport/client_kinds.h"

#include <QCoreApplication>
#include <curl/curl.h>

#include <thread>

#include "capi/http_handler.h"
#include "zelvo/gtk/soup_http_client.h"
#include "zelvo/qt/qt_http_client.h"

namespace zelvo::transport {
namespace {

constexpr std::size_t kMaxBody = 1024 * 1024;

// Qt's network classes want an application object; it needs no display.
void ensureQtApplication() {
  static int argc = 1;
  static char name[] = "zelvo_transport_tests";
  static char* argv[] = {name, nullptr};
  static QCoreApplication* const application =
      QCoreApplication::instance() != nullptr ? nullptr : new QCoreApplication(argc, argv);
  (void)application;
}

// A C host's handler: each request on a thread of its own, with libcurl, ended from there.
// Reads the request only through the C API, as a C host would.
struct CurlHandler {
  CurlHandler(std::string ca, long timeout) : caFile(std::move(ca)), timeoutMillis(timeout) {}
  std::string caFile;
  long timeoutMillis;
  std::vector<std::thread> threads;
  ~CurlHandler() {
    for (std::thread& thread : threads) thread.join();
  }

  static size_t keep(char* data, size_t size, size_t count, void* body) {
    static_cast<std::string*>(body)->append(data, size * count);
    return size * count;
  }

  void send(zelvo_http_request* request) const {
    const char* url = nullptr;
    const char* userAgent = nullptr;
    const char* cacheControl = nullptr;
    if (zelvo_http_request_url(request, &url) != ZELVO_OK ||
        zelvo_http_request_header(request, "user-agent", &userAgent) != ZELVO_OK ||
        zelvo_http_request_header(request, "Cache-Control", &cacheControl) != ZELVO_OK) {
      zelvo_http_request_fail(request, ZELVO_PING_FAILED, "cannot read the request");
      return;
    }
    CURL* easy = curl_easy_init();
    curl_slist* headers = nullptr;
    if (userAgent != nullptr) headers = curl_slist_append(headers, (std::string("User-Agent: ") + userAgent).c_str());
    if (cacheControl != nullptr) headers = curl_slist_append(headers, (std::string("Cache-Control: ") + cacheControl).c_str());
    std::string body;
    curl_easy_setopt(easy, CURLOPT_URL, url);
    curl_easy_setopt(easy, CURLOPT_CAINFO, caFile.c_str());
    curl_easy_setopt(easy, CURLOPT_PROXY, "");
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, timeoutMillis);
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &CurlHandler::keep);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &body);
    const CURLcode code = curl_easy_perform(easy);
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    curl_slist_free_all(headers);
    curl_easy_cleanup(easy);
    switch (code) {
      case CURLE_OK:
        zelvo_http_request_complete(request, static_cast<int>(status), body.data(), body.size());
        return;
      case CURLE_OPERATION_TIMEDOUT:
        zelvo_http_request_fail(request, ZELVO_PING_TIMED_OUT, curl_easy_strerror(code));
        return;
      case CURLE_COULDNT_CONNECT:
        zelvo_http_request_fail(request, ZELVO_PING_CONNECTION_FAILED, curl_easy_strerror(code));
        return;
      case CURLE_PEER_FAILED_VERIFICATION:
      case CURLE_SSL_CONNECT_ERROR:
        zelvo_http_request_fail(request, ZELVO_PING_TLS_FAILED, curl_easy_strerror(code));
        return;
      default:
        zelvo_http_request_fail(request, ZELVO_PING_FAILED, curl_easy_strerror(code));
    }
  }
};

// The handler client with its handler, which must outlive it: the client (and so the
// platform) goes first, then the handler's threads are joined.
class CHandlerClient : public HttpClient {
 public:
  explicit CHandlerClient(const ClientSetup& setup)
      : handler_(std::make_unique<CurlHandler>(setup.caFile, static_cast<long>(setup.requestTimeout.count()))),
        client_(std::make_unique<capi::HandlerHttpClient>(&CHandlerClient::handle, this)) {}
  ~CHandlerClient() override {
    client_.reset();
    handler_.reset();
  }
  void startGet(HttpRequest request, HttpCompletion done) override { client_->startGet(std::move(request), std::move(done)); }
  std::optional<std::string> fetch(const std::string& url) override { return client_->fetch(url); }

 private:
  static void handle(void* self, zelvo_http_request* request) {
    auto& client = *static_cast<CHandlerClient*>(self);
    std::lock_guard lock(client.mutex_);
    client.handler_->threads.emplace_back([handler = client.handler_.get(), request] { handler->send(request); });
  }

  std::mutex mutex_;
  std::unique_ptr<CurlHandler> handler_;
  std::unique_ptr<capi::HandlerHttpClient> client_;
};

}  // namespace

std::string nameOf(ClientKind kind) {
  switch (kind) {
    case ClientKind::kCurl: return "Curl";
    case ClientKind::kQt: return "Qt";
    case ClientKind::kSoup: return "Soup";
    case ClientKind::kCHandler: return "CHandler";
  }
  return "?";
}

void useClient(ClientKind kind, const ClientSetup& setup, linux_platform::LinuxPlatformOptions& options) {
  options.caFile = setup.caFile;
  options.requestTimeout = setup.requestTimeout;
  switch (kind) {
    case ClientKind::kCurl:
      options.proxy = "";  // whatever the environment running the tests says
      return;
    case ClientKind::kQt:
      ensureQtApplication();
      options.httpClient = std::make_shared<qt::QtHttpClient>(qt::QtHttpClientOptions{setup.caFile, setup.requestTimeout, kMaxBody});
      return;
    case ClientKind::kSoup:
      options.httpClient =
          std::make_shared<gtk::SoupHttpClient>(gtk::SoupHttpClientOptions{setup.caFile, setup.requestTimeout, kMaxBody});
      return;
    case ClientKind::kCHandler:
      options.httpClient = std::make_shared<CHandlerClient>(setup);
      return;
  }
}

}  // namespace zelvo::transport
