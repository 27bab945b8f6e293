#include <cmath>
#include <string>
#include <string_view>

#include "common/utf8.h"
#include "ping/zv_ping.h"

namespace zelvo {
namespace {

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
