#include "common/utf8.h"

namespace zelvo {

Utf8Character firstUtf8Character(std::string_view text) {
  const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
  const unsigned char lead = byte(0);
  std::size_t length;
  unsigned char low = 0x80, high = 0xBF;  // allowed range of the second byte
  if (lead < 0x80) {
    return {1, true};
  } else if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return {1, false};
  }
  for (std::size_t k = 1; k < length; ++k) {
    if (k == text.size()) return {k, false};
    const unsigned char b = byte(k);
    if (k == 1 ? (b < low || b > high) : (b < 0x80 || b > 0xBF)) return {k, false};
  }
  return {length, true};
}

bool isWellFormedUtf8(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    const Utf8Character character = firstUtf8Character(text.substr(i));
    if (!character.wellFormed) return false;
    i += character.length;
  }
  return true;
}

}  // namespace zelvo
