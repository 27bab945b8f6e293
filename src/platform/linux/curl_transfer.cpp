#include "platform/linux/curl_transfer.h"

#include <algorithm>
#include <string_view>
#include <variant>

#include "common/concat.h"
#include "platform/linux/endpoint.h"
#include "zelvo/platform/http_client_support.h"

namespace zelvo::linux_platform {
namespace {

// A header or URL with one of these would change the request line or add headers of its
// own, or be cut short by curl's C strings.
bool hasLineBreakOrNul(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos;
}

HttpError::Kind kindOf(CURLcode code) {
  switch (code) {
    case CURLE_OPERATION_TIMEDOUT:
      return HttpError::Kind::kTimeout;
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_PROXY:
      return HttpError::Kind::kConnection;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_SSL_CRL_BADFILE:
      return HttpError::Kind::kTls;
    default:
      return HttpError::Kind::kOther;
  }
}

}  // namespace

CurlTransfer::CurlTransfer(const CurlHttpClientOptions& options, const HttpRequest& request,
                           Body body)
    : url_(request.url), keep_(body), maxBodyBytes_(options.maxBodyBytes) {
  if (hasLineBreakOrNul(url_)) {
    setupError_ = HttpError{"malformed URL", url_};
    return;
  }
  // Moved onto the host's endpoint here, at the last moment: answers and errors still name
  // the URL the library asked for, which is how it finds the request an answer belongs to.
  std::string target = url_;
  if (options.endpoint) {
    auto endpoint = Endpoint::parse(*options.endpoint);
    if (const auto* why = std::get_if<std::string>(&endpoint)) {
      setupError_ = HttpError{"not sent: " + *why, url_};
      return;
    }
    target = std::get<Endpoint>(endpoint).map(url_);
    moved_ = target != url_;
  }
  easy_ = curl_easy_init();
  if (easy_ == nullptr) {
    setupError_ = HttpError{"cannot create a curl handle", url_};
    return;
  }
  set(CURLOPT_ERRORBUFFER, errorBuffer_);
  set(CURLOPT_URL, target.c_str());
  set(CURLOPT_PROTOCOLS_STR, "https");
  set(CURLOPT_REDIR_PROTOCOLS_STR, "https");
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_HTTPGET, 1L);
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  set(CURLOPT_NOSIGNAL, 1L);
  // Aborting a transfer whose name is still being resolved must not wait for the resolver.
  set(CURLOPT_QUICK_EXIT, 1L);
  if (options.requestTimeout) {
    set(CURLOPT_TIMEOUT_MS, static_cast<long>(std::max<long long>(1, options.requestTimeout->count())));
  } else {
    set(CURLOPT_TIMEOUT_MS, requestLimitMillis(request.timeoutSeconds));
  }
  if (options.connectTimeout) {
    set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(std::max<long long>(1, options.connectTimeout->count())));
  }
  if (options.proxy) set(CURLOPT_PROXY, options.proxy->c_str());
  set(CURLOPT_WRITEFUNCTION, &CurlTransfer::write);
  set(CURLOPT_WRITEDATA, static_cast<void*>(this));
  if (options.caFile) {
    set(CURLOPT_CAINFO, options.caFile->c_str());
    set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
  }
  for (const std::string& entry : options.connectTo) {
    curl_slist* next = curl_slist_append(connectTo_, entry.c_str());
    if (next == nullptr) {
      setupError_ = error(CURLE_OUT_OF_MEMORY);
      return;
    }
    connectTo_ = next;
  }
  if (connectTo_ != nullptr) set(CURLOPT_CONNECT_TO, connectTo_);

  for (const auto& [name, value] : request.headers) addHeader(name + ": " + value);
  if (request.ignoreCaches) {
    addHeader("Cache-Control: no-cache");
    addHeader("Pragma: no-cache");
  }
  if (headers_ != nullptr) set(CURLOPT_HTTPHEADER, headers_);
}

CurlTransfer::~CurlTransfer() {
  if (easy_ != nullptr) curl_easy_cleanup(easy_);
  curl_slist_free_all(headers_);
  curl_slist_free_all(connectTo_);
}

template <typename Value>
void CurlTransfer::set(CURLoption option, Value value) {
  if (setupError_) return;
  const CURLcode code = curl_easy_setopt(easy_, option, value);
  if (code != CURLE_OK) setupError_ = error(code);
}

void CurlTransfer::addHeader(const std::string& line) {
  if (setupError_) return;
  if (hasLineBreakOrNul(line)) {
    setupError_ = HttpError{"header with a line break: " + line.substr(0, line.find(':')), url_};
    return;
  }
  curl_slist* next = curl_slist_append(headers_, line.c_str());
  if (next == nullptr) {
    setupError_ = error(CURLE_OUT_OF_MEMORY);
    return;
  }
  headers_ = next;
}

HttpResult CurlTransfer::result(CURLcode code) const {
  // A discarded body is not the answer: once it starts, the head is whole and its status is
  // the answer, even when the body then goes on past the bound or the time limit.
  const bool answered = keep_ == Body::discard && bodyBytes_ > 0 &&
                        (code == CURLE_WRITE_ERROR || code == CURLE_OPERATION_TIMEDOUT);
  if (code != CURLE_OK && !answered) return error(code);
  long status = 0;
  char* effectiveUrl = nullptr;
  curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_getinfo(easy_, CURLINFO_EFFECTIVE_URL, &effectiveUrl);
  if (moved_ || effectiveUrl == nullptr) return HttpResponse{static_cast<int>(status), url_};
  return HttpResponse{static_cast<int>(status), effectiveUrl};
}

HttpError CurlTransfer::error(CURLcode code) const {
  std::string description = concat({"curl error ", std::to_string(code), ": ", curl_easy_strerror(code)});
  if (errorBuffer_[0] != '\0') description += concat({" (", errorBuffer_, ")"});
  return HttpError{std::move(description), url_, kindOf(code)};
}

size_t CurlTransfer::write(char* data, size_t size, size_t count, void* self) {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  const size_t length = size * count;
  // Returning less than was given makes curl fail the transfer.
  if (length > transfer.maxBodyBytes_ - transfer.bodyBytes_) return 0;
  transfer.bodyBytes_ += length;
  if (transfer.keep_ == Body::keep) transfer.body_.append(data, length);
  return length;
}

}  // namespace zelvo::linux_platform
