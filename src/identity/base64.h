#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace zelvo {

// Base64 of `n` bytes with the given 64-character alphabet, each missing character of the
// last group written as `pad`.
std::string encodeBase64(const uint8_t* bytes, std::size_t n, const char (&alphabet)[65], char pad);

}  // namespace zelvo
