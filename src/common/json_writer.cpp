#include "common/json_writer.h"

#include <charconv>

// The same digits as every JSON text the library wrote before it had its own writer (stored
// rows, configuration and pings): nlohmann's Grisu2, which now and then writes one digit more
// than the shortest form std::to_chars gives.
#include <nlohmann/detail/conversions/to_chars.hpp>

#include "common/utf8.h"

namespace zelvo {

bool JsonWriter::string(std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  text_ += '"';
  std::size_t i = 0;
  while (i < text.size()) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte >= 0x80) {
      const Utf8Character character = firstUtf8Character(text.substr(i));
      if (character.wellFormed) {
        text_.append(text.substr(i, character.length));
      } else if (broken_ == BrokenUtf8::kReplace) {
        text_ += "\xEF\xBF\xBD";
      } else {
        return false;
      }
      i += character.length;
      continue;
    }
    switch (byte) {
      case '"': text_ += "\\\""; break;
      case '\\': text_ += "\\\\"; break;
      case '\b': text_ += "\\b"; break;
      case '\f': text_ += "\\f"; break;
      case '\n': text_ += "\\n"; break;
      case '\r': text_ += "\\r"; break;
      case '\t': text_ += "\\t"; break;
      default:
        if (byte < 0x20) {
          const char escape[] = {'\\', 'u', '0', '0', kHex[byte >> 4], kHex[byte & 0xF]};
          text_.append(escape, sizeof escape);
        } else {
          text_ += static_cast<char>(byte);
        }
    }
    ++i;
  }
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
