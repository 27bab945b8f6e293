#include "platform/common/url_characters.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

namespace zelvo {
namespace {

constexpr bool isAsciiLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHex(char c) { return isDigit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'); }

// Unreserved, sub-delims and ":@/?". By comparison, not isalnum(), so that no locale takes a
// Latin-1 byte for a letter. A table, because every ping URL is read through it byte by byte.
constexpr std::array<bool, 256> kUrlCharacters = [] {
  std::array<bool, 256> table{};
  for (int c = 0; c < 256; ++c) table[c] = isAsciiLetter(static_cast<char>(c)) || isDigit(static_cast<char>(c));
  for (char c : std::string_view("-._~!$&'()*+,;=:@/?")) table[static_cast<unsigned char>(c)] = true;
  return table;
}();

bool isUrlCharacter(char c) { return kUrlCharacters[static_cast<unsigned char>(c)]; }

// Whether the eight bytes at `bytes` are all URL characters: one test for the lot, spelt out
// rather than a loop, so that it holds at every optimisation level.
bool eightAreUrlCharacters(const char* bytes) {
  auto bit = [bytes](int i) { return static_cast<unsigned>(isUrlCharacter(bytes[i])); };
  return (bit(0) & bit(1) & bit(2) & bit(3) & bit(4) & bit(5) & bit(6) & bit(7)) != 0;
}

}  // namespace

bool holdsOnlyUrlCharacters(std::string_view text) {
  const char* cursor = text.data();
  const char* const end = cursor + text.size();
  // Long runs of plain characters, eight bytes at a time, with a few escapes between them:
  // eight bytes that are not all plain are read one by one.
  while (cursor != end) {
    if (end - cursor >= 8 && eightAreUrlCharacters(cursor)) {
      cursor += 8;
      continue;
    }
    for (const char* const stop = cursor + std::min<std::ptrdiff_t>(8, end - cursor); cursor < stop;) {
      if (isUrlCharacter(*cursor)) {
        ++cursor;
      } else if (*cursor == '%' && end - cursor >= 3 && isHex(cursor[1]) && isHex(cursor[2])) {
        cursor += 3;
      } else {
        return false;
      }
    }
  }
  return true;
}

bool isPlainHttpsUrl(std::string_view url) {
  constexpr std::string_view kScheme = "https://";
  if (url.size() < kScheme.size() ||
      !std::equal(kScheme.begin(), kScheme.end(), url.begin(),
                  [](char want, char c) { return want == (c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); })) {
    return false;
  }
  url.remove_prefix(kScheme.size());
  const std::string_view authority = url.substr(0, url.find_first_of("/?#"));
  const std::string_view rest = url.substr(authority.size());
  const std::string_view host = authority.substr(0, authority.find(':'));
  const bool hostOk = std::any_of(host.begin(), host.end(), isAsciiLetter) &&
                      std::all_of(host.begin(), host.end(), [](char c) { return isAsciiLetter(c) || isDigit(c) || c == '-' || c == '.'; });
  if (!hostOk) return false;
  if (host.size() < authority.size()) {
    const std::string_view port = authority.substr(host.size() + 1);
    if (port.empty() || port.size() > 5 || port[0] == '0' || !std::all_of(port.begin(), port.end(), isDigit) ||
        std::stoi(std::string(port)) > 65535) {
      return false;
    }
  }
  // curl would drop dot segments ("/a/../b" asks for "/b").
  const std::string_view path = rest.substr(0, rest.find_first_of("?#"));
  for (std::size_t dot = path.find("/."); dot != std::string_view::npos; dot = path.find("/.", dot + 1)) {
    const std::string_view after = path.substr(dot + 2);
    if (after.empty() || after[0] == '/' || after == "." || after.substr(0, 2) == "./") return false;
  }
  const std::size_t hash = rest.find('#');
  return holdsOnlyUrlCharacters(rest.substr(0, hash)) &&
         (hash == std::string_view::npos || holdsOnlyUrlCharacters(rest.substr(hash + 1)));
}

}  // namespace zelvo
