#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace zelvo {

// `parts` joined into one string, in one allocation and one call: a chain of `+` builds a
// temporary string at every step, with code to free each on the way out, wherever it is
// written (log lines and messages are most of them).
std::string concat(std::initializer_list<std::string_view> parts);

}  // namespace zelvo
