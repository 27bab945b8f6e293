#pragma once

#include <cstddef>
#include <string_view>

namespace zelvo {

// Well-formed UTF-8 as Unicode defines it: no overlong forms, no surrogates, nothing above
// U+10FFFF.
bool isWellFormedUtf8(std::string_view text);

// The character that starts `text` (not empty): how many bytes it spans and whether it is well
// formed. A broken one spans the longest start of a well-formed sequence it has (at least its
// first byte): the bytes a decoder replaces with one U+FFFD before it reads on.
struct Utf8Character {
  std::size_t length;
  bool wellFormed;
};
Utf8Character firstUtf8Character(std::string_view text);

}  // namespace zelvo
