// The C API's host transport: the handler client and the zelvo_http_request functions.
#include "capi/http_handler.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "capi/arguments.h"

using zelvo::capi::guarded;

namespace zelvo::capi {
namespace {

// The configuration's limit, as curl's client has it.
constexpr std::chrono::seconds kFetchLimit{60};

struct OpenRequest {
  std::uint64_t owner = 0;
  std::string url;
  std::vector<std::pair<std::string, std::string>> headers;
  HttpBodyCompletion done;
};

// Every open request of every handler client, by handle number. Numbers start at 1 and are
// never reused.
class OpenRequests {
 public:
  std::uintptr_t add(OpenRequest request) {
    std::lock_guard lock(mutex_);
    const std::uintptr_t number = next_++;
    open_.emplace(number, std::make_shared<OpenRequest>(std::move(request)));
    return number;
  }
  std::shared_ptr<OpenRequest> find(std::uintptr_t number) const {
    std::lock_guard lock(mutex_);
    auto it = open_.find(number);
    return it == open_.end() ? nullptr : it->second;
  }
  std::shared_ptr<OpenRequest> take(std::uintptr_t number) {
    std::lock_guard lock(mutex_);
    auto it = open_.find(number);
    if (it == open_.end()) return nullptr;
    std::shared_ptr<OpenRequest> request = std::move(it->second);
    open_.erase(it);
    return request;
  }
  std::vector<std::shared_ptr<OpenRequest>> takeAllOf(std::uint64_t owner) {
    std::lock_guard lock(mutex_);
    std::vector<std::shared_ptr<OpenRequest>> taken;
    for (auto it = open_.begin(); it != open_.end();) {
      if (it->second->owner == owner) {
        taken.push_back(std::move(it->second));
        it = open_.erase(it);
      } else {
        ++it;
      }
    }
    return taken;
  }

 private:
  mutable std::mutex mutex_;
  std::uintptr_t next_ = 1;
  std::unordered_map<std::uintptr_t, std::shared_ptr<OpenRequest>> open_;
};

OpenRequests& openRequests() {
  static OpenRequests* const requests = new OpenRequests;  // outlives every static client
  return *requests;
}

std::uintptr_t numberOf(const zelvo_http_request* request) { return reinterpret_cast<std::uintptr_t>(request); }

std::uint64_t nextOwner() {
  static std::atomic<std::uint64_t> next{1};
  return next++;
}

bool sameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y)); });
}

std::optional<HttpError::Kind> kindOf(zelvo_ping_outcome outcome) {
  switch (fromC(outcome)) {
    case ZELVO_PING_CONNECTION_FAILED: return HttpError::Kind::kConnection;
    case ZELVO_PING_TLS_FAILED: return HttpError::Kind::kTls;
    case ZELVO_PING_TIMED_OUT: return HttpError::Kind::kTimeout;
    case ZELVO_PING_FAILED: return HttpError::Kind::kOther;
    default: return std::nullopt;
  }
}

}  // namespace

HandlerHttpClient::HandlerHttpClient(zelvo_http_handler handler, void* userData)
    : handler_(handler), userData_(userData), owner_(nextOwner()) {}

HandlerHttpClient::~HandlerHttpClient() {
  for (const auto& request : openRequests().takeAllOf(owner_)) request->done(HttpError{"cancelled", request->url}, {});
}

void HandlerHttpClient::submit(HttpRequest request, HttpBodyCompletion done) {
  if (request.ignoreCaches) {
    request.headers.emplace_back("Cache-Control", "no-cache");
    request.headers.emplace_back("Pragma", "no-cache");
  }
  const std::uintptr_t number =
      openRequests().add(OpenRequest{owner_, std::move(request.url), std::move(request.headers), std::move(done)});
  handler_(userData_, reinterpret_cast<zelvo_http_request*>(number));
}

void HandlerHttpClient::startGet(HttpRequest request, HttpCompletion done) {
  submit(std::move(request), [done = std::move(done)](const HttpResult& result, const std::string&) { done(result); });
}

std::optional<std::string> HandlerHttpClient::fetch(const std::string& url) {
  return waitForBody([&](HttpBodyCompletion done) { submit(HttpRequest{url, {}, 60.0, false}, std::move(done)); }, kFetchLimit);
}

}  // namespace zelvo::capi

using zelvo::capi::openRequests;

extern "C" {

zelvo_error zelvo_http_request_url(const zelvo_http_request* request, const char** out) {
  return guarded([&] {
    if (!request || !out) return ZELVO_ERROR_NULL_ARGUMENT;
    auto open = openRequests().find(zelvo::capi::numberOf(request));
    if (!open) return ZELVO_ERROR_REFUSED;
    *out = open->url.c_str();
    return ZELVO_OK;
  });
}

zelvo_error zelvo_http_request_header(const zelvo_http_request* request, const char* name, const char** out) {
  return guarded([&] {
    if (!request || !name || !out) return ZELVO_ERROR_NULL_ARGUMENT;
    auto open = openRequests().find(zelvo::capi::numberOf(request));
    if (!open) return ZELVO_ERROR_REFUSED;
    auto header = std::find_if(open->headers.begin(), open->headers.end(),
                               [&](const auto& entry) { return zelvo::capi::sameName(entry.first, name); });
    *out = header == open->headers.end() ? nullptr : header->second.c_str();
    return ZELVO_OK;
  });
}

zelvo_error zelvo_http_request_complete(zelvo_http_request* request, int status_code, const char* body, size_t length) {
  return guarded([&] {
    if (!request || (!body && length != 0)) return ZELVO_ERROR_NULL_ARGUMENT;
    auto open = openRequests().take(zelvo::capi::numberOf(request));
    if (!open) return ZELVO_ERROR_REFUSED;
    open->done(zelvo::HttpResponse{status_code, open->url}, body ? std::string(body, length) : std::string());
    return ZELVO_OK;
  });
}

zelvo_error zelvo_http_request_fail(zelvo_http_request* request, zelvo_ping_outcome kind, const char* error) {
  return guarded([&] {
    if (!request) return ZELVO_ERROR_NULL_ARGUMENT;
    const std::optional<zelvo::HttpError::Kind> errorKind = zelvo::capi::kindOf(kind);
    if (!errorKind) return ZELVO_ERROR_INVALID_ARGUMENT;
    std::optional<std::string> text;
    if (const zelvo_error bad = zelvo::capi::readText(error, text); bad != ZELVO_OK) return bad;
    auto open = openRequests().take(zelvo::capi::numberOf(request));
    if (!open) return ZELVO_ERROR_REFUSED;
    open->done(zelvo::HttpError{text.value_or("failed"), open->url, *errorKind}, {});
    return ZELVO_OK;
  });
}

}  // extern "C"
