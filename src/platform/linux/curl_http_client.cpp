#include "zelvo/linux/curl_http_client.h"

#include <chrono>
#include <system_error>
#include <utility>

#include "platform/linux/curl_global.h"
#include "platform/linux/curl_transfer.h"
#include "platform/linux/endpoint.h"
#include "platform/linux/curl_worker.h"
#include "platform/portable/io_thread.h"
#include "platform/linux/url_acceptance.h"

namespace zelvo::linux_platform {
namespace {

// How long the destructor waits for the I/O thread to abort the transfers. Aborting takes
// milliseconds; only a completion that blocks can hold the thread longer.
constexpr std::chrono::seconds kWorkerCloseLimit{2};

constexpr double kFetchTimeoutSeconds = 60.0;

}  // namespace

CurlHttpClient::CurlHttpClient(Options options) : CurlHttpClient(std::move(options), std::make_shared<IoThread>()) {}

CurlHttpClient::CurlHttpClient(Options options, std::shared_ptr<IoThread> ioThread)
    : options_(std::move(options)),
      configurationError_(options_.endpoint ? Endpoint::check(*options_.endpoint) : std::nullopt) {
  // Said whatever the log gate: nothing will reach the host's collector until it is fixed.
  if (configurationError_) log("[ZV]:HTTP client sends nothing: " + *configurationError_);
  if (!ensureCurlGlobalInit()) {
    log("[ZV]:HTTP client cannot start: curl init failed");
    ioThread.reset();  // every request then fails at once
  } else if (!ioThread->started()) {
    log("[ZV]:HTTP client cannot start: no I/O thread");
  }
  // A worker without a thread refuses every request on the caller's thread.
  worker_ = std::make_shared<CurlWorker>(options_, ioThread ? std::move(ioThread) : IoThread::makeStopped());
}

CurlHttpClient::~CurlHttpClient() {
  if (!worker_->close(kWorkerCloseLimit)) {
    log("[ZV]:HTTP client: the I/O thread is held up by a completion; transfers abort once it is free");
  }
}

void CurlHttpClient::startGet(HttpRequest request, HttpCompletion done) {
  worker_->enqueue(std::move(request), std::move(done));
}

void CurlHttpClient::log(const std::string& line) const {
  if (options_.log != nullptr) options_.log->write(LogSeverity::kError, line);
}

std::optional<std::string> CurlHttpClient::fetch(const std::string& url) {
  if (!ensureCurlGlobalInit()) return std::nullopt;
  HttpRequest request;
  request.url = url;
  request.timeoutSeconds = kFetchTimeoutSeconds;
  CurlTransfer transfer(options_, request, CurlTransfer::Body::keep);
  if (transfer.setupError()) return std::nullopt;
  const HttpResult result = transfer.result(curl_easy_perform(transfer.handle()));
  const auto* response = std::get_if<HttpResponse>(&result);
  if (response == nullptr || response->statusCode < 200 || response->statusCode > 299) {
    return std::nullopt;
  }
  return std::move(transfer.body());
}

bool CurlHttpClient::acceptsUrl(std::string_view url) const { return acceptsHttpsUrl(url); }

}  // namespace zelvo::linux_platform
