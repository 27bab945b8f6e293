#include "common/json_writer.h"

#include <charconv>

// The same digits as every JSON text the library wrote before it had its own writer (stored
// rows, configuration and pings): nlohmann's Grisu2, which now and then writes one digit more
// than the shortest form std::to_chars gives.
#include <nlohmann/detail/conversions/to_chars.hpp>

#include "common/utf8.h"

namespace zelvo {
namespace {

// The two-character escape of `byte`, or 0 when it has none.
char shortEscape(unsigned char byte) {
  switch (byte) {
    case '"': return '"';
    case '\\': return '\\';
    case '\b': return 'b';
    case '\f': return 'f';
    case '\n': return 'n';
    case '\r': return 'r';
    case '\t': return 't';
    default: return 0;
  }
}

}  // namespace

bool JsonWriter::string(std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  text_ += '"';
  std::size_t unwritten = 0;  // where the bytes that stand for themselves and are not yet written start
  std::size_t i = 0;
  while (i < text.size()) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte >= 0x80) {
      const Utf8Character character = firstUtf8Character(text.substr(i));
      if (!character.wellFormed) {
        if (broken_ == BrokenUtf8::kRefuse) return false;
        text_.append(text, unwritten, i - unwritten);
        text_ += "\xEF\xBF\xBD";
        unwritten = i + character.length;
      }
      i += character.length;
      continue;
    }
    if (byte >= 0x20 && byte != '"' && byte != '\\') {
      ++i;
      continue;
    }
    text_.append(text, unwritten, i - unwritten);
    if (const char letter = shortEscape(byte)) {
      const char escape[] = {'\\', letter};
      text_.append(escape, sizeof escape);
    } else {
      const char escape[] = {'\\', 'u', '0', '0', kHex[byte >> 4], kHex[byte & 0xF]};
      text_.append(escape, sizeof escape);
    }
    unwritten = ++i;
  }
  text_.append(text, unwritten);
  text_ += '"';
  return true;
}

void JsonWriter::integer(int64_t number) {
  char buffer[24];  // 19 digits and a sign fit
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  text_.append(buffer, result.ptr);
}

void JsonWriter::number(double number) {
  char buffer[64];  // 17 digits, a sign, a point and an exponent; the writer asks for 64
  text_.append(buffer, nlohmann::detail::to_chars(buffer, buffer + sizeof buffer, number));
}

}  // namespace zelvo
