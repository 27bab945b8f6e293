#include "platform/linux/host_resolution.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

namespace zelvo::linux_platform {

std::vector<IpAddress> resolveHostName(const std::string& hostName) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_DGRAM;  // one answer per address, not one per socket type
  addrinfo* found = nullptr;
  if (::getaddrinfo(hostName.c_str(), nullptr, &hints, &found) != 0) return {};
  std::vector<IpAddress> addresses;
  for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
    IpAddress address;
    address.family = entry->ai_family;
    if (entry->ai_family == AF_INET && entry->ai_addrlen >= sizeof(sockaddr_in)) {
      std::memcpy(address.bytes.data(), &reinterpret_cast<const sockaddr_in*>(entry->ai_addr)->sin_addr, 4);
    } else if (entry->ai_family == AF_INET6 && entry->ai_addrlen >= sizeof(sockaddr_in6)) {
      std::memcpy(address.bytes.data(), &reinterpret_cast<const sockaddr_in6*>(entry->ai_addr)->sin6_addr, 16);
    } else {
      continue;
    }
    if (std::find(addresses.begin(), addresses.end(), address) == addresses.end()) addresses.push_back(address);
  }
  ::freeaddrinfo(found);
  return addresses;
}

}  // namespace zelvo::linux_platform
