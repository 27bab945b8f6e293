#include "platform/linux/endpoint.h"

#include <memory>
#include <optional>

#include "common/concat.h"
#include "platform/common/endpoint_mapping.h"
#include "platform/linux/curl_url.h"

namespace zelvo::linux_platform {

std::variant<Endpoint, std::string> Endpoint::parse(std::string_view text) {
  const std::string quoted = concat({"the endpoint \"", text, "\" "});
  if (text.find_first_of(std::string_view("\r\n\0 ", 4)) != std::string_view::npos) {
    return quoted + "holds a space, a line break or a NUL";
  }
  CurlUrl url(curl_url());
  if (!url) return std::string("no memory to read the endpoint");
  const std::string owned(text);
  if (const CURLUcode code = curl_url_set(url.get(), CURLUPART_URL, owned.c_str(), 0); code != CURLUE_OK) {
    return concat({quoted, "is not a URL (", curl_url_strerror(code), ")"});
  }
  if (urlPart(url.get(), CURLUPART_SCHEME) != "https") return quoted + "must start with https://";
  if (urlPart(url.get(), CURLUPART_USER) || urlPart(url.get(), CURLUPART_PASSWORD)) {
    return quoted + "must not hold a user name or password";
  }
  if (urlPart(url.get(), CURLUPART_QUERY) || urlPart(url.get(), CURLUPART_FRAGMENT)) {
    return quoted + "must not hold a query (?) or fragment (#)";
  }
  const std::optional<std::string> host = urlPart(url.get(), CURLUPART_HOST);
  if (!host || host->empty()) return quoted + "names no host";
  const std::optional<std::string> port = urlPart(url.get(), CURLUPART_PORT);
  std::string path = urlPart(url.get(), CURLUPART_PATH).value_or("/");
  while (!path.empty() && path.back() == '/') path.pop_back();

  Endpoint endpoint;
  endpoint.base_ = concat({"https://", *host, port ? ":" : "", port ? *port : "", path});
  endpoint.loopback_ = isLoopbackHost(*host);
  return endpoint;
}

std::optional<std::string> Endpoint::check(std::string_view text) {
  auto parsed = parse(text);
  if (auto* why = std::get_if<std::string>(&parsed)) return std::move(*why);
  return std::nullopt;
}

std::string Endpoint::map(const std::string& url) const { return mapOntoEndpoint(base_, url); }

}  // namespace zelvo::linux_platform
