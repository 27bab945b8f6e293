#include "ping/url_check.h"

#include <array>
#include <cstddef>

namespace zelvo {
namespace {

// Character classes by table: no locale is consulted (isalnum() would take the bytes of a
// Latin-1 locale's letters as letters), and the test is one load per character.
using CharacterSet = std::array<bool, 256>;

constexpr CharacterSet characters(std::string_view extra) {
  CharacterSet set{};
  for (int c = 'A'; c <= 'Z'; ++c) set[static_cast<std::size_t>(c)] = true;
  for (int c = 'a'; c <= 'z'; ++c) set[static_cast<std::size_t>(c)] = true;
  for (int c = '0'; c <= '9'; ++c) set[static_cast<std::size_t>(c)] = true;
  // Unreserved and sub-delims, then what the caller adds.
  for (char c : std::string_view("-._~!$&'()*+,;=")) set[static_cast<unsigned char>(c)] = true;
  for (char c : extra) set[static_cast<unsigned char>(c)] = true;
  return set;
}

constexpr CharacterSet kHostCharacters = characters("");
// Path, query and fragment add ":" "@" "/" "?".
constexpr CharacterSet kPathCharacters = characters(":@/?");

bool isHex(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

// Checks `text` against `allowed`; percent escapes are allowed everywhere.
bool consistsOf(std::string_view text, const CharacterSet& allowed) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (allowed[static_cast<unsigned char>(c)]) continue;  // most characters: one load
    if (c != '%' || i + 2 >= text.size() || !isHex(text[i + 1]) || !isHex(text[i + 2])) return false;
    i += 2;
  }
  return true;
}

bool startsWithHttpsScheme(std::string_view url) {
  constexpr std::string_view kScheme = "https://";
  if (url.size() < kScheme.size()) return false;
  for (std::size_t i = 0; i < kScheme.size(); ++i) {
    const char c = url[i];
    if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != kScheme[i]) return false;
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
  if (host.empty() || !consistsOf(host, kHostCharacters)) return false;
  if (host.size() < authority.size()) {
    for (char c : authority.substr(host.size() + 1)) {
      if (c < '0' || c > '9') return false;
    }
  }

  // A fragment starts at the first "#" and may not hold another.
  std::size_t hash = url.find('#');
  std::string_view beforeFragment = url.substr(0, hash);
  if (!consistsOf(beforeFragment, kPathCharacters)) return false;
  return hash == std::string_view::npos || consistsOf(url.substr(hash + 1), kPathCharacters);
}

}  // namespace zelvo
