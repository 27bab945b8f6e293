#include "identity/base64.h"

namespace zelvo {

std::string encodeBase64(const uint8_t* bytes, std::size_t n, const char (&alphabet)[65], char pad) {
  std::string out;
  out.reserve((n + 2) / 3 * 4);
  for (std::size_t i = 0; i < n; i += 3) {
    uint32_t v = uint32_t{bytes[i]} << 16;
    if (i + 1 < n) v |= uint32_t{bytes[i + 1]} << 8;
    if (i + 2 < n) v |= bytes[i + 2];
    out.push_back(alphabet[(v >> 18) & 63]);
    out.push_back(alphabet[(v >> 12) & 63]);
    out.push_back(i + 1 < n ? alphabet[(v >> 6) & 63] : pad);
    out.push_back(i + 2 < n ? alphabet[v & 63] : pad);
  }
  return out;
}

}  // namespace zelvo
