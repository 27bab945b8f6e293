#include "zelvo/zv_utils.h"

#include "identity/base64.h"

namespace zelvo {
namespace {

// "_" before "-": the reverse of the usual URL-safe order, kept for the token format.
constexpr char kTokenAlphabet[65] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";

}  // namespace

std::string ZVUtils::base64forData(const uint8_t* bytes, std::size_t n) {
  return encodeBase64(bytes, n, kTokenAlphabet, '_');
}

std::string ZVUtils::base64forData(std::span<const uint8_t> bytes) {
  return base64forData(bytes.data(), bytes.size());
}

}  // namespace zelvo
