#include "platform/linux/url_acceptance.h"

#include "platform/common/url_characters.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>

namespace zelvo::linux_platform {
namespace {

struct UrlHandleDeleter {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
using UrlHandle = std::unique_ptr<CURLU, UrlHandleDeleter>;

// A part of a parsed URL as curl would send it (nothing decoded); nothing when it is absent.
std::optional<std::string> part(CURLU* url, CURLUPart which) {
  char* text = nullptr;
  if (curl_url_get(url, which, &text, 0) != CURLUE_OK || text == nullptr) return std::nullopt;
  std::string copy(text);
  curl_free(text);
  return copy;
}

}  // namespace

bool acceptsHttpsUrl(std::string_view url) {
  // curl reads a C string: a NUL would end the URL early, unseen.
  if (url.find('\0') != std::string_view::npos) return false;
  const std::string text(url);
  UrlHandle handle(curl_url());
  if (!handle || curl_url_set(handle.get(), CURLUPART_URL, text.c_str(), 0) != CURLUE_OK) return false;
  if (part(handle.get(), CURLUPART_SCHEME) != "https" || part(handle.get(), CURLUPART_USER)) return false;

  // curl writes the scheme in lower case and gives an empty path its "/"; any other change
  // means the server would be asked for something else than what was checked and logged.
  const std::optional<std::string> written = part(handle.get(), CURLUPART_URL);
  const std::string expected = "https" + text.substr(5);  // the scheme is https in some case
  if (written != expected && written != expected + "/") return false;

  // curl would send a non-ASCII host in its IDN form, another name than the one written.
  const std::string host = part(handle.get(), CURLUPART_HOST).value_or("");
  if (!std::all_of(host.begin(), host.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
    return false;
  }
  for (const CURLUPart which : {CURLUPART_PATH, CURLUPART_QUERY, CURLUPART_FRAGMENT}) {
    if (!holdsOnlyUrlCharacters(part(handle.get(), which).value_or(""))) return false;
  }
  return true;
}

}  // namespace zelvo::linux_platform
