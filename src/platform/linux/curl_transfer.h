#pragma once

#include <curl/curl.h>

#include <optional>
#include <string>

#include "zelvo/linux/curl_http_client_options.h"
#include "zelvo/platform/http_client.h"

namespace zelvo::linux_platform {

// One GET on its own easy handle, configured the one way this client makes requests:
// HTTPS only, verification on, no redirects, no signals. Not movable: curl keeps pointers
// into it (error buffer, body sink).
class CurlTransfer {
 public:
  enum class Body { discard, keep };

  CurlTransfer(const CurlHttpClientOptions& options, const HttpRequest& request, Body body);
  ~CurlTransfer();
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  // Set when the handle could not be configured; such a transfer must not be performed.
  const std::optional<HttpError>& setupError() const { return setupError_; }
  CURL* handle() const { return easy_; }
  const std::string& url() const { return url_; }

  // The outcome once curl has finished the transfer with `code`.
  HttpResult result(CURLcode code) const;
  std::string& body() { return body_; }

 private:
  template <typename Value>
  void set(CURLoption option, Value value);
  void addHeader(const std::string& line);
  HttpError error(CURLcode code) const;
  static size_t write(char* data, size_t size, size_t count, void* self);

  std::string url_;  // as the library asked for it
  bool moved_ = false;  // sent to the host's endpoint instead
  Body keep_;
  std::size_t maxBodyBytes_;
  std::string body_;
  std::size_t bodyBytes_ = 0;  // received, kept or not
  CURL* easy_ = nullptr;
  curl_slist* headers_ = nullptr;
  curl_slist* connectTo_ = nullptr;
  char errorBuffer_[CURL_ERROR_SIZE] = {};
  std::optional<HttpError> setupError_;
};

}  // namespace zelvo::linux_platform
