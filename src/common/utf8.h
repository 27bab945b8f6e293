#pragma once

#include <string_view>

namespace zelvo {

// Well-formed UTF-8 as Unicode defines it: no overlong forms, no surrogates, nothing above
// U+10FFFF.
bool isWellFormedUtf8(std::string_view text);

}  // namespace zelvo
