#include <algorithm>
#include <array>

#include "ping/ping_url.h"
#include "zelvo/constants.h"

namespace zelvo {
namespace {

// The bytes that go out as they are; every other byte becomes "%XX".
constexpr std::array<bool, 256> kUnescaped = [] {
  std::array<bool, 256> table{};
  for (int c = 'A'; c <= 'Z'; ++c) table[static_cast<std::size_t>(c)] = true;
  for (int c = 'a'; c <= 'z'; ++c) table[static_cast<std::size_t>(c)] = true;
  for (int c = '0'; c <= '9'; ++c) table[static_cast<std::size_t>(c)] = true;
  for (char c : {'-', '_', '.', '~', '/'}) table[static_cast<unsigned char>(c)] = true;
  return table;
}();

}  // namespace

char* percentEncode(std::string_view text, char* out) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  const char* cursor = text.data();
  const char* const end = cursor + text.size();
  // Runs of bytes that go out as they are, copied whole, and an escape after each.
  for (;;) {
    const char* const escaped =
        std::find_if(cursor, end, [](char c) { return !kUnescaped[static_cast<unsigned char>(c)]; });
    out = std::copy(cursor, escaped, out);
    if (escaped == end) return out;
    const auto byte = static_cast<unsigned char>(*escaped);
    *out++ = '%';
    *out++ = kHex[byte >> 4];
    *out++ = kHex[byte & 0x0F];
    cursor = escaped + 1;
  }
}

std::string ZVPing::urlEncode(std::string_view text) {
  std::string out(3 * text.size(), '\0');
  out.resize(static_cast<std::size_t>(percentEncode(text, out.data()) - out.data()));
  return out;
}

std::string ZVPing::urlEncode(const std::optional<std::string>& text) {
  return text ? urlEncode(std::string_view(*text)) : std::string();
}

std::string ZVPing::encodeAndJoinArray(const StringList& array) {
  std::string joined;
  if (!array) return joined;
  bool first = true;
  for (const std::string& element : *array) {
    if (!first) joined.push_back(',');
    first = false;
    joined += urlEncode(std::string_view(element));
  }
  return joined;
}

std::string composePingUrl(std::string_view base, const PingParameters& parameters) {
  const std::string_view query = parameters.query();
  std::string url;
  url.reserve(base.size() + query.size() + kPingUrlEnd.size());
  url.append(base).append(query).append(kPingUrlEnd);
  return url;
}

std::string ZVPing::getPingUrl(const PingParameters& parameters) const {
  return composePingUrl(pingBase(), parameters);
}

}  // namespace zelvo
