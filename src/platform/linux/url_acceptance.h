#pragma once

#include <string_view>

namespace zelvo::linux_platform {

// Whether libcurl sends `url` exactly as written: an https URL that curl's own URL parser
// reads without rewriting any part of it (a host given as a number such as "6" becomes
// 0.0.0.6, "/a/../b" becomes "/b"), with no user name, an ASCII host, and a path, query and
// fragment made only of the characters a URL may hold, every "%" followed by two hexadecimal
// digits (curl passes those bytes on untouched, so a raw blank or non-ASCII byte from a stored
// value would reach the server as something it reads differently). The curl client's
// acceptsUrl(). Thread: any.
bool acceptsHttpsUrl(std::string_view url);

}  // namespace zelvo::linux_platform
