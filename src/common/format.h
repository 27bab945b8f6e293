#pragma once

#include <cstdarg>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zelvo {

// printf-style formatting that is independent of the process locale: "." is always the
// decimal point and digits are never grouped, whatever the host set with setlocale().
std::string formatPosix(const char* format, ...) __attribute__((format(printf, 1, 2)));

// How a possibly missing text shows in a log line: the text, or "(null)".
inline std::string describe(const std::optional<std::string>& text) { return text ? *text : "(null)"; }

// An unsigned 32-bit counter printed with "%d": as the signed 32-bit integer of its bits.
inline int32_t asSigned32(uint32_t value) { return static_cast<int32_t>(value); }

}  // namespace zelvo
