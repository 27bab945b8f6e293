#include "platform/common/endpoint_mapping.h"

#include <array>
#include <charconv>

#include "zelvo/constants.h"

namespace zelvo {
namespace {

// "https://host/" of one of the library's URLs: what a request must start with to be moved.
std::string_view hostPrefix(std::string_view url) {
  const std::size_t slash = url.find('/', url.find("://") + 3);
  return url.substr(0, slash + 1);
}

}  // namespace

std::string mapOntoEndpoint(std::string_view base, const std::string& url) {
  const std::array<std::string_view, 3> libraryHosts{hostPrefix(kZVPingURLBase), hostPrefix(kZVPongURLBase),
                                                      hostPrefix(kZelvoConfigURL)};
  for (std::string_view prefix : libraryHosts) {
    // The prefix keeps its slash, so the rest is the path and query from their first byte.
    if (url.starts_with(prefix)) return std::string(base) + url.substr(prefix.size() - 1);
  }
  return url;
}

bool isLoopbackHost(std::string_view host) {
  if (host == "localhost" || host == "[::1]") return true;
  // Four decimal numbers up to 255, the first 127.
  int parts = 0;
  unsigned first = 0;
  while (!host.empty()) {
    unsigned value = 0;
    const auto [end, error] = std::from_chars(host.data(), host.data() + host.size(), value);
    const auto digits = static_cast<std::size_t>(end - host.data());
    if (error != std::errc() || digits == 0 || digits > 3 || value > 255) return false;
    if (digits > 1 && host.front() == '0') return false;  // not decimal to every reader
    if (parts++ == 0) first = value;
    host.remove_prefix(digits);
    if (host.empty()) break;
    if (host.front() != '.' || host.size() == 1) return false;
    host.remove_prefix(1);
  }
  return parts == 4 && first == 127;
}

}  // namespace zelvo
