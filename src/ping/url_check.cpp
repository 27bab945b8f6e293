#include "ping/url_check.h"

#include <cctype>

namespace zelvo {
namespace {

bool isHex(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }

bool isUnreservedOrSubDelim(char c) {
  if (std::isalnum(static_cast<unsigned char>(c)) != 0) return true;
  switch (c) {
    case '-': case '.': case '_': case '~':                                 // unreserved
    case '!': case '$': case '&': case '\'': case '(': case ')':            // sub-delims
    case '*': case '+': case ',': case ';': case '=':
      return true;
    default:
      return false;
  }
}

// Checks `text` against the characters allowed in a host name (`extra` empty) or in a path,
// query or fragment (`extra` holding the characters they add). Percent escapes are allowed
// in both.
bool consistsOf(std::string_view text, std::string_view extra) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '%') {
      if (i + 2 >= text.size()) return false;
      if (!isHex(text[i + 1]) || !isHex(text[i + 2])) return false;
      i += 2;
    } else if (!isUnreservedOrSubDelim(c) && extra.find(c) == std::string_view::npos) {
      return false;
    }
  }
  return true;
}

bool startsWithHttpsScheme(std::string_view url) {
  constexpr std::string_view kScheme = "https://";
  if (url.size() < kScheme.size()) return false;
  for (std::size_t i = 0; i < kScheme.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(url[i])) != kScheme[i]) return false;
  }
  return true;
}

}  // namespace

bool isValidPingUrl(std::string_view url) {
  if (!startsWithHttpsScheme(url)) return false;
  url.remove_prefix(8);

  std::string_view authority = url.substr(0, url.find_first_of("/?#"));
  url.remove_prefix(authority.size());
  std::string_view host = authority.substr(0, authority.find(':'));
  if (host.empty() || !consistsOf(host, "")) return false;
  if (host.size() < authority.size()) {
    for (char c : authority.substr(host.size() + 1)) {
      if (std::isdigit(static_cast<unsigned char>(c)) == 0) return false;
    }
  }

  // Path and query take ":" "@" "/" "?"; a fragment starts at the first "#" and may not hold
  // another.
  std::size_t hash = url.find('#');
  std::string_view beforeFragment = url.substr(0, hash);
  if (!consistsOf(beforeFragment, ":@/?")) return false;
  return hash == std::string_view::npos || consistsOf(url.substr(hash + 1), ":@/?");
}

}  // namespace zelvo
