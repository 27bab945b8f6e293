#pragma once

#include <string>
#include <vector>

#include "platform/linux/ip_address.h"

namespace zelvo::linux_platform {

// The IPv4 and IPv6 addresses of `hostName` (getaddrinfo; may block for as long as the
// resolver takes, so never call it on the main thread). Empty when it cannot be resolved.
std::vector<IpAddress> resolveHostName(const std::string& hostName);

}  // namespace zelvo::linux_platform
