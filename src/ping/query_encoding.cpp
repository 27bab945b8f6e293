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

std::string ZVPing::urlEncode(std::string_view text) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::size_t escaped = 0;
  for (unsigned char byte : text) escaped += kUnescaped[byte] ? 0 : 1;
  std::string out;
  out.reserve(text.size() + 2 * escaped);
  for (unsigned char byte : text) {
    if (kUnescaped[byte]) {
      out.push_back(static_cast<char>(byte));
    } else {
      out.push_back('%');
      out.push_back(kHex[byte >> 4]);
      out.push_back(kHex[byte & 0x0F]);
    }
  }
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

std::string ZVPing::appendKey(std::string_view key, std::string_view value, std::string requestString) {
  if (!requestString.empty()) requestString.push_back('&');
  requestString.append(key).push_back('=');
  requestString.append(value);
  return requestString;
}

std::string composePingUrl(std::string_view base, const PingParameters& parameters) {
  std::size_t length = base.size() + 2;
  for (const auto& [key, value] : parameters.entries()) length += key.size() + value.size() + 2;
  // The pairs are joined first (appendKey puts no "&" before the first), then the base goes
  // in front; the buffer is sized once for all of it.
  std::string query;
  query.reserve(length);
  for (const auto& [key, value] : parameters.entries()) query = ZVPing::appendKey(key, value, std::move(query));
  query.insert(0, base);
  query.append("&_");
  return query;
}

std::string ZVPing::getPingUrl(const PingParameters& parameters) const {
  return composePingUrl(usePong() ? kZVPongURLBase : kZVPingURLBase, parameters);
}

}  // namespace zelvo
