#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace zelvo::linux_platform {

// Where a host sends what the library would send to its own hosts: a base URL
// "https://host[:port][/prefix]". The core keeps making its URLs on the library's ping, pong
// and configuration hosts; each request is moved onto the endpoint just before it goes out,
// path and query kept, so nothing else on the wire changes.
class Endpoint {
 public:
  // The endpoint `text` names, or why it names none (a whole sentence for the host's log).
  static std::variant<Endpoint, std::string> parse(std::string_view text);
  // Why `text` names no endpoint, or nothing when it does.
  static std::optional<std::string> check(std::string_view text);

  // `url` on the endpoint when it names one of the library's hosts; otherwise `url` itself.
  std::string map(const std::string& url) const;
  // Whether the host is a loopback address (127.0.0.0/8, ::1) or "localhost": a server on this
  // machine, reachable whatever the routes say.
  bool isLoopback() const { return loopback_; }
  // "https://host[:port][/prefix]", without a trailing slash.
  const std::string& base() const { return base_; }

 private:
  std::string base_;
  bool loopback_ = false;
};

}  // namespace zelvo::linux_platform
