#include "common/utf8.h"

namespace zelvo {

bool isWellFormedUtf8(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
    unsigned char lead = byte(i);
    std::size_t length;
    unsigned char low = 0x80, high = 0xBF;  // allowed range of the second byte
    if (lead < 0x80) {
      length = 1;
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
      return false;
    }
    if (text.size() - i < length) return false;
    for (std::size_t k = 1; k < length; ++k) {
      unsigned char b = byte(i + k);
      if (k == 1 ? (b < low || b > high) : (b < 0x80 || b > 0xBF)) return false;
    }
    i += length;
  }
  return true;
}

}  // namespace zelvo
