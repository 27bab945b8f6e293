#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zelvo::collector {

// One "key=value" item of a query string, exactly as sent (nothing decoded).
struct QueryItem {
  std::string key;
  std::string value;
  bool hasEquals = false;  // "_" at the end of a ping has none
};

// Splits a query string (the text after "?") at every "&", and each item at its first "=".
// An empty query has no items; "a&&b" has an empty item between "a" and "b".
std::vector<QueryItem> splitQuery(std::string_view query);

// Whether every "%" in `text` starts an escape of two hexadecimal digits.
bool hasWellFormedEscapes(std::string_view text);

// The bytes that `text` stands for, or nothing when an escape is malformed.
std::optional<std::string> percentDecode(std::string_view text);

}  // namespace zelvo::collector
