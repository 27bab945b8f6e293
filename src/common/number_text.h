#pragma once

#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

namespace zelvo {

// Numbers as the ping sends them, the same text as printf's "%d", "%lld" and "%.Nf" in the
// "C" locale. std::to_chars never looks at the locale, so unlike formatPosix() it needs no
// switch of the thread's locale, which costs more than the formatting itself on the ping's
// hot path. Both round the exact binary value to nearest, ties to even.

// Room for any 64-bit integer as text: 19 digits and a sign.
inline constexpr std::size_t kIntegerTextSize = 20;

// Writes `value` as "%lld" does at `out`, which has room for kIntegerTextSize bytes; returns
// the end of what was written.
inline char* writeIntegerText(char* out, int64_t value) {
  return std::to_chars(out, out + kIntegerTextSize, value).ptr;
}

// `value` with `decimals` digits after the point: "%.2f" is fixedText(value, 2) and "%f" is
// fixedText(value, 6). Infinities and NaN read "inf", "-inf", "nan" and "-nan" as in printf.
inline std::string fixedText(double value, int decimals) {
  char buffer[352];  // DBL_MAX has 309 integer digits; a sign, a point and the decimals
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
  if (result.ec != std::errc()) return std::string();  // only for `decimals` beyond the buffer
  return std::string(buffer, result.ptr);
}

// fixedText(value, 2) of a single-precision value, the dwell minutes', without the general
// formatter, which costs more than all the other numbers of a regular ping together. It is
// exact: a float has 24 significant bits, so a hundred times it is exact in a double, and
// rounding that to whole hundredths, ties to even, is what "%.2f" does. Negative, huge and
// not finite values take the general way.
inline std::string hundredthsText(float value) {
  if (!(value >= 0.0f && value < 1e15f) || std::signbit(value)) return fixedText(value, 2);
  const double scaled = static_cast<double>(value) * 100.0;
  double hundredths = std::floor(scaled);
  const double rest = scaled - hundredths;
  if (rest > 0.5 || (rest == 0.5 && std::fmod(hundredths, 2.0) != 0.0)) hundredths += 1.0;
  const auto whole = static_cast<int64_t>(hundredths);
  char buffer[kIntegerTextSize + 3];
  char* end = writeIntegerText(buffer, whole / 100);
  *end++ = '.';
  *end++ = static_cast<char>('0' + whole / 10 % 10);
  *end++ = static_cast<char>('0' + whole % 10);
  return std::string(buffer, end);
}

}  // namespace zelvo
