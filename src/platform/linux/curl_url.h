#pragma once

// libcurl's URL API as the Linux platform uses it: an owning handle and one part at a time.
#include <curl/curl.h>

#include <memory>
#include <optional>
#include <string>

namespace zelvo::linux_platform {

struct CurlUrlDeleter {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
using CurlUrl = std::unique_ptr<CURLU, CurlUrlDeleter>;

// A part of a parsed URL as curl would send it (nothing decoded); nothing when it is absent.
inline std::optional<std::string> urlPart(CURLU* url, CURLUPart which) {
  char* text = nullptr;
  if (curl_url_get(url, which, &text, 0) != CURLUE_OK || text == nullptr) return std::nullopt;
  std::string copy(text);
  curl_free(text);
  return copy;
}

}  // namespace zelvo::linux_platform
