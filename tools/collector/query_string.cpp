#include "collector/query_string.h"

#include <algorithm>

namespace zelvo::collector {
namespace {

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

}  // namespace

std::vector<QueryItem> splitQuery(std::string_view query) {
  std::vector<QueryItem> items;
  if (query.empty()) return items;
  size_t at = 0;
  while (true) {
    const size_t end = std::min(query.find('&', at), query.size());
    const std::string_view item = query.substr(at, end - at);
    const size_t equals = item.find('=');
    if (equals == std::string_view::npos) {
      items.push_back({std::string(item), "", false});
    } else {
      items.push_back({std::string(item.substr(0, equals)), std::string(item.substr(equals + 1)), true});
    }
    if (end == query.size()) break;
    at = end + 1;
  }
  return items;
}

bool hasWellFormedEscapes(std::string_view text) { return percentDecode(text).has_value(); }

std::optional<std::string> percentDecode(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    if (i + 2 >= text.size()) return std::nullopt;
    const int high = hexValue(text[i + 1]);
    const int low = hexValue(text[i + 2]);
    if (high < 0 || low < 0) return std::nullopt;
    decoded += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return decoded;
}

}  // namespace zelvo::collector
