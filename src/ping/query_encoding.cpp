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
  // One pass into room for the worst case, then cut to what was written.
  std::string out(3 * text.size(), '\0');
  char* cursor = out.data();
  for (unsigned char byte : text) {
    if (kUnescaped[byte]) {
      *cursor++ = static_cast<char>(byte);
    } else {
      *cursor++ = '%';
      *cursor++ = kHex[byte >> 4];
      *cursor++ = kHex[byte & 0x0F];
    }
  }
  out.resize(static_cast<std::size_t>(cursor - out.data()));
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
  // Written in place into a buffer sized once: the same text as appendKey() of each pair in
  // turn, without a string passed in and out per pair.
  std::string url(length, '\0');
  char* cursor = url.data();
  auto put = [&cursor](std::string_view text) {
    text.copy(cursor, text.size());
    cursor += text.size();
  };
  put(base);
  bool first = true;
  for (const auto& [key, value] : parameters.entries()) {
    if (!first) *cursor++ = '&';
    first = false;
    put(key);
    *cursor++ = '=';
    put(value);
  }
  put("&_");
  url.resize(static_cast<std::size_t>(cursor - url.data()));
  return url;
}

std::string ZVPing::getPingUrl(const PingParameters& parameters) const {
  return composePingUrl(usePong() ? kZVPongURLBase : kZVPingURLBase, parameters);
}

}  // namespace zelvo
