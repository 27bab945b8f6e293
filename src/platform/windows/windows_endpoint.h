#pragma once

#include <string>
#include <string_view>
#include <variant>

namespace zelvo::windows_platform {

// The host's endpoint as WinHTTP reads it: "https://host[:port][/prefix]" without a user
// name, query or fragment. See mapOntoEndpoint() for what moves onto it.
struct WindowsEndpoint {
  // The endpoint `text` names, or why it names none (a whole sentence for the host's log).
  static std::variant<WindowsEndpoint, std::string> parse(std::string_view text);
  std::string map(const std::string& url) const;

  std::string base;  // without a trailing slash
  bool loopback = false;
};

}  // namespace zelvo::windows_platform
