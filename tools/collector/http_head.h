#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace zelvo::collector {

// The head of an HTTP/1.x request: request line and header fields.
struct RequestHead {
  std::string method;
  std::string target;  // as sent: path, "?" and query, nothing decoded
  std::map<std::string, std::string> headers;  // names in lower case

  // The value of a header field named in lower case; empty when absent.
  std::string header(const std::string& lowerCaseName) const;
};

// Reads a request head that ends with an empty line ("\r\n\r\n", not included). Nothing when
// it is not an HTTP/1.x request line followed by "name: value" fields. Unlike many servers
// it takes any target bytes but blanks and controls: a ping's query may hold a second "?".
std::optional<RequestHead> parseRequestHead(std::string_view head);

// A complete response that closes the connection.
std::string responseText(int status, std::string_view contentType, std::string_view body);

}  // namespace zelvo::collector
