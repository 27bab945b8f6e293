#pragma once

#include <string>
#include <string_view>

namespace zelvo {

// `url` moved onto the endpoint `base` ("https://host[:port][/prefix]", no trailing slash)
// when it names one of the library's ping, pong or configuration hosts, path and query kept;
// any other URL unchanged. Each platform's HTTP client reads the endpoint with its own URL
// parser and moves requests with this. Thread: any.
std::string mapOntoEndpoint(std::string_view base, const std::string& url);

// Whether an endpoint's host is this machine: "localhost", "[::1]" or an address of
// 127.0.0.0/8 in dotted decimal. Thread: any.
bool isLoopbackHost(std::string_view host);

}  // namespace zelvo
