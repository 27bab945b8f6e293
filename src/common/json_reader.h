#pragma once

#include <optional>
#include <string_view>

#include "zelvo/value.h"

namespace zelvo {

// Reads JSON text (RFC 8259; a leading UTF-8 byte-order mark is skipped) into a Value: objects
// become dictionaries (of two members with one name the later wins), integers that fit 64 bits
// integers, other numbers doubles (one too large for a double is refused, one too small reads
// as zero). Strings must be well-formed UTF-8. Nothing for text that is not JSON, or that nests
// arrays and objects more than `maxNesting` deep; then `failure`, when given, says which (text
// that is both reads as malformed). However deep the text, the reader does not recurse.
std::optional<Value> readJson(std::string_view text, int maxNesting, Value::ReadFailure* failure);

}  // namespace zelvo
