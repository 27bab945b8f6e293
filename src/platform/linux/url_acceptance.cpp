#include "platform/linux/url_acceptance.h"

#include <algorithm>
#include <optional>
#include <string>

#include "platform/common/url_characters.h"
#include "platform/linux/curl_url.h"

namespace zelvo::linux_platform {

namespace {

// Every ping of a start has the same scheme, host and path and differs only in its query, and
// parsing with curl costs more than the rest of a heartbeat second together. So the part
// before the "?" of the last URL accepted on this thread is kept: a URL with that same part
// and a query of URL characters only is read by curl as the accepted one was. Anything else
// gets the full check.
thread_local std::string acceptedBeforeQuery;

bool hasAcceptedBase(std::string_view url) {
  const std::size_t question = url.find('?');
  if (question == std::string_view::npos || acceptedBeforeQuery.empty()) return false;
  return url.substr(0, question) == acceptedBeforeQuery && holdsOnlyUrlCharacters(url.substr(question + 1));
}

bool acceptsWithCurl(std::string_view url) {
  // curl reads a C string: a NUL would end the URL early, unseen.
  if (url.find('\0') != std::string_view::npos) return false;
  const std::string text(url);
  CurlUrl handle(curl_url());
  if (!handle || curl_url_set(handle.get(), CURLUPART_URL, text.c_str(), 0) != CURLUE_OK) return false;
  if (urlPart(handle.get(), CURLUPART_SCHEME) != "https" || urlPart(handle.get(), CURLUPART_USER)) return false;

  // curl writes the scheme in lower case and gives an empty path its "/"; any other change
  // means the server would be asked for something else than what was checked and logged.
  const std::optional<std::string> written = urlPart(handle.get(), CURLUPART_URL);
  const std::string expected = "https" + text.substr(5);  // the scheme is https in some case
  if (written != expected && written != expected + "/") return false;

  // curl would send a non-ASCII host in its IDN form, another name than the one written.
  const std::string host = urlPart(handle.get(), CURLUPART_HOST).value_or("");
  if (!std::all_of(host.begin(), host.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
    return false;
  }
  for (const CURLUPart which : {CURLUPART_PATH, CURLUPART_QUERY, CURLUPART_FRAGMENT}) {
    if (!holdsOnlyUrlCharacters(urlPart(handle.get(), which).value_or(""))) return false;
  }
  return true;
}

}  // namespace

bool acceptsHttpsUrl(std::string_view url) {
  if (hasAcceptedBase(url)) return true;
  if (!acceptsWithCurl(url)) return false;
  const std::string_view base = url.substr(0, url.find('?'));
  // Only a base followed by a query, without a fragment, stands for the URLs that share it.
  if (base.size() < url.size() && base.find('#') == std::string_view::npos) acceptedBeforeQuery.assign(base);
  return true;
}

}  // namespace zelvo::linux_platform
