#include <cmath>
#include <string>
#include <string_view>

#include "ping/zv_ping.h"

namespace zelvo {
namespace {

// Well-formed UTF-8 as Unicode defines it: no overlong forms, no surrogates, nothing above
// U+10FFFF.
bool isWellFormedUtf8(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
    unsigned char lead = byte(i);
    std::size_t length;
    unsigned char low = 0x80, high = 0xBF;  // allowed range of the second byte
    if (lead < 0x80) {
      length = 1;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3;
      if (lead == 0xE0) low = 0xA0;
      if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4;
      if (lead == 0xF0) low = 0x90;
      if (lead == 0xF4) high = 0x8F;
    } else {
      return false;
    }
    if (text.size() - i < length) return false;
    for (std::size_t k = 1; k < length; ++k) {
      unsigned char b = byte(i + k);
      if (k == 1 ? (b < low || b > high) : (b < 0x80 || b > 0xBF)) return false;
    }
    i += length;
  }
  return true;
}

// Why `value` cannot be written as JSON, for the log; nothing when it can. `depth` is the
// number of containers around `value`.
std::optional<std::string> whyNotJson(const Value& value, int depth = 0) {
  const bool container = value.asArray() || value.asDictionary();
  if (container && depth >= Value::kMaxNesting) {
    return "it nests deeper than " + std::to_string(Value::kMaxNesting) + " levels";
  }
  switch (value.type()) {
    case Value::Type::kDate:
      return "a date has no JSON form";
    case Value::Type::kDouble:
      if (!std::isfinite(*value.asDouble())) return "a NaN or infinite number has no JSON form";
      return std::nullopt;
    case Value::Type::kString:
      if (!isWellFormedUtf8(*value.asString())) return "a string is not valid UTF-8";
      return std::nullopt;
    case Value::Type::kArray:
      for (const Value& element : *value.asArray()) {
        if (auto reason = whyNotJson(element, depth + 1)) return reason;
      }
      return std::nullopt;
    case Value::Type::kDictionary:
      for (const auto& [key, element] : *value.asDictionary()) {
        if (!isWellFormedUtf8(key)) return "a key is not valid UTF-8";
        if (auto reason = whyNotJson(element, depth + 1)) return reason;
      }
      return std::nullopt;
    default:
      return std::nullopt;
  }
}

}  // namespace

std::optional<std::string> ZVPing::jsonEncode(const Value& object, const LogGate* gate) {
  std::optional<std::string> json = object.toJson();
  if (!json && gate) {
    gate->error([&] {
      return "[ZV]:Couldn't encode JSON object: " + whyNotJson(object).value_or("not serialisable");
    });
    gate->standard([&] { return "[ZV]:" + object.toTypedJson().value_or("(too deep to show)"); });
  }
  return json;
}

}  // namespace zelvo
