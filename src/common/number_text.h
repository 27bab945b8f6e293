#pragma once

#include <charconv>
#include <cstdint>
#include <string>

namespace zelvo {

// Numbers as the ping sends them, the same text as printf's "%d", "%lld" and "%.Nf" in the
// "C" locale. std::to_chars never looks at the locale, so unlike formatPosix() it needs no
// switch of the thread's locale, which costs more than the formatting itself on the ping's
// hot path. Both round the exact binary value to nearest, ties to even.

inline std::string integerText(int64_t value) {
  char buffer[24];  // 19 digits and a sign fit
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

// `value` with `decimals` digits after the point: "%.2f" is fixedText(value, 2) and "%f" is
// fixedText(value, 6). Infinities and NaN read "inf", "-inf", "nan" and "-nan" as in printf.
inline std::string fixedText(double value, int decimals) {
  char buffer[352];  // DBL_MAX has 309 integer digits; a sign, a point and the decimals
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
  if (result.ec != std::errc()) return std::string();  // only for `decimals` beyond the buffer
  return std::string(buffer, result.ptr);
}

}  // namespace zelvo
