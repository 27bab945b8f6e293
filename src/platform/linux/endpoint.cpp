#include "platform/linux/endpoint.h"

#include <arpa/inet.h>

#include <array>
#include <memory>
#include <optional>

#include "platform/linux/curl_url.h"
#include "zelvo/constants.h"

namespace zelvo::linux_platform {
namespace {

// "https://host/" of one of the library's URLs: what a request must start with to be moved.
std::string_view hostPrefix(std::string_view url) {
  const std::size_t slash = url.find('/', url.find("://") + 3);
  return url.substr(0, slash + 1);
}

bool isLoopbackHost(const std::string& host) {
  if (host == "localhost" || host == "[::1]") return true;
  in_addr address{};
  return inet_pton(AF_INET, host.c_str(), &address) == 1 && (ntohl(address.s_addr) >> 24) == 127;
}

}  // namespace

std::variant<Endpoint, std::string> Endpoint::parse(std::string_view text) {
  const std::string quoted = "the endpoint \"" + std::string(text) + "\" ";
  if (text.find_first_of(std::string_view("\r\n\0 ", 4)) != std::string_view::npos) {
    return quoted + "holds a space, a line break or a NUL";
  }
  CurlUrl url(curl_url());
  if (!url) return std::string("no memory to read the endpoint");
  const std::string owned(text);
  if (const CURLUcode code = curl_url_set(url.get(), CURLUPART_URL, owned.c_str(), 0); code != CURLUE_OK) {
    return quoted + "is not a URL (" + curl_url_strerror(code) + ")";
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
  endpoint.base_ = "https://" + *host + (port ? ":" + *port : std::string()) + path;
  endpoint.loopback_ = isLoopbackHost(*host);
  return endpoint;
}

std::optional<std::string> Endpoint::check(std::string_view text) {
  auto parsed = parse(text);
  if (auto* why = std::get_if<std::string>(&parsed)) return std::move(*why);
  return std::nullopt;
}

std::string Endpoint::map(const std::string& url) const {
  const std::array<std::string_view, 3> libraryHosts{hostPrefix(kZVPingURLBase), hostPrefix(kZVPongURLBase),
                                                      hostPrefix(kZelvoConfigURL)};
  for (std::string_view prefix : libraryHosts) {
    // The prefix keeps its slash, so the rest is the path and query from their first byte.
    if (url.starts_with(prefix)) return base_ + url.substr(prefix.size() - 1);
  }
  return url;
}

}  // namespace zelvo::linux_platform
