#include "identity/tokens.h"

#include <algorithm>
#include <array>

#include "common/format.h"
#include "identity/base64.h"
#include "zelvo/constants.h"
#include "zelvo/zv_utils.h"

namespace zelvo {
namespace {

constexpr char kStandardAlphabet[65] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string tokenFromNewUuid(UuidSource& uuids, bool trunked, const LogGate* gate) {
  return encodeToken(ZVUtils::base64forData(uuids.newUuidBytes()), trunked, gate);
}

}  // namespace

std::string toBase64String(std::string_view text) {
  return encodeBase64(reinterpret_cast<const uint8_t*>(text.data()), text.size(), kStandardAlphabet, '=');
}

std::string encodeToken(std::string_view s, bool trunked, const LogGate* gate) {
  std::string t = toBase64String(s);
  std::erase(t, '=');
  std::replace(t.begin(), t.end(), '+', '-');
  std::replace(t.begin(), t.end(), '/', '_');
  if (trunked && t.size() > static_cast<std::size_t>(kZVMaxUUIDLength)) t.resize(kZVMaxUUIDLength);
  if (gate) {
    gate->standard([&] {
      return formatPosix("[ZV]:encoded token length %lu, encoded ", static_cast<unsigned long>(t.size())) + t;
    });
  }
  return t;
}

std::string generateUUID(UuidSource& uuids, const LogGate* gate) {
  const std::array<uint8_t, 16> bytes = uuids.newUuidBytes();
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(36);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text.push_back('-');
    text.push_back(kHex[bytes[i] >> 4]);
    text.push_back(kHex[bytes[i] & 0x0F]);
  }
  if (gate) gate->standard([&] { return "[ZV]:generated uuid: " + text; });
  return text;
}

std::string generateUserToken(UuidSource& uuids, const LogGate* gate) { return tokenFromNewUuid(uuids, true, gate); }

std::string generateSessionToken(UuidSource& uuids, const LogGate* gate) {
  return tokenFromNewUuid(uuids, false, gate);
}

std::string generateSiteVisitUid(UuidSource& uuids, const LogGate* gate) {
  return tokenFromNewUuid(uuids, false, gate);
}

std::string createSessionToken(UuidSource& uuids, const LogGate* gate) {
  return encodeToken(generateUUID(uuids, gate), false, gate);
}

}  // namespace zelvo
