#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "zelvo/export.h"

namespace zelvo {

// An instant, in seconds since 2001-01-01T00:00:00Z.
struct ZELVO_EXPORT Date {
  double seconds = 0.0;
  friend bool operator==(const Date&, const Date&) = default;
};

// A property-list value: what the store keeps and what the configuration and identity-sync
// dictionaries hold. Nil is not the empty string. Booleans, integers and doubles are all
// numbers, and convert like the platform's number objects.
// Thread: a value is a plain value; share it read-only or copy it.
class ZELVO_EXPORT Value {
 public:
  using Array = std::vector<Value>;
  using Dictionary = std::map<std::string, Value, std::less<>>;
  enum class Type { kNil, kBool, kInt, kDouble, kString, kDate, kArray, kDictionary };

  Value() = default;
  Value(std::nullptr_t) {}
  Value(bool b) : data_(b) {}
  Value(int i) : data_(int64_t{i}) {}
  Value(long i) : data_(int64_t{i}) {}
  Value(long long i) : data_(int64_t{i}) {}
  Value(unsigned i) : data_(int64_t{i}) {}
  Value(double d) : data_(d) {}
  Value(const char* s) : data_(std::string(s)) {}
  Value(std::string s) : data_(std::move(s)) {}
  Value(std::string_view s) : data_(std::string(s)) {}
  Value(Date d) : data_(d) {}
  Value(Array a) : data_(std::move(a)) {}
  Value(Dictionary d) : data_(std::move(d)) {}

  Type type() const { return static_cast<Type>(data_.index()); }
  bool isNil() const { return type() == Type::kNil; }
  // Booleans, integers and doubles.
  bool isNumber() const;

  const std::string* asString() const { return std::get_if<std::string>(&data_); }
  const Date* asDate() const { return std::get_if<Date>(&data_); }
  const Array* asArray() const { return std::get_if<Array>(&data_); }
  const Dictionary* asDictionary() const { return std::get_if<Dictionary>(&data_); }
  std::optional<bool> asBool() const;
  std::optional<int64_t> asInt() const;
  std::optional<double> asDouble() const;

  // Number conversions of the platform's number object. A double is truncated toward zero
  // (saturating at the 64-bit range, NaN gives 0) before narrowing; narrowing keeps the low
  // bits, so -1 gives 4294967295 as an unsigned 32-bit value. A string reads its leading
  // decimal integer; anything else gives 0.
  int64_t longLongValue() const;
  uint32_t unsignedIntValue() const { return static_cast<uint32_t>(longLongValue()); }
  double doubleValue() const;

  // Member lookup in a dictionary; nullptr when absent or not a dictionary.
  const Value* find(std::string_view key) const;

  // How deep arrays and dictionaries may nest in JSON text read or written here ([[1]] is 2
  // deep). Text from outside (a server's answer, a damaged store row) could otherwise nest
  // deep enough to exhaust the stack of whichever thread decodes it.
  static constexpr int kMaxNesting = 64;
  // Why a reader gave nothing.
  enum class ReadFailure { kMalformed, kTooDeep };

  // Compact JSON (no whitespace, keys sorted); nothing for what JSON cannot hold (dates,
  // NaN or infinite numbers, nesting deeper than kMaxNesting). Strings must be valid UTF-8.
  std::optional<std::string> toJson() const;
  // Parses JSON text; integers that fit become integers, other numbers doubles. Nothing for
  // text that is not JSON or nests deeper than kMaxNesting; then `failure`, when given, says
  // which.
  static std::optional<Value> fromJson(std::string_view text, ReadFailure* failure = nullptr);

  // The typed form: every value as a one-key object ({"string":..}, {"int":..}, {"double":..},
  // {"bool":..}, {"date":..}, {"array":[..]}, {"dict":{..}}, {"nil":null}) that keeps every
  // type and every double and date bit for bit. Nothing for a value nested deeper than
  // kMaxNesting; the reader refuses such text likewise.
  std::optional<std::string> toTypedJson() const;
  static std::optional<Value> fromTypedJson(std::string_view text, ReadFailure* failure = nullptr);

  friend bool operator==(const Value&, const Value&) = default;

 private:
  std::variant<std::monostate, bool, int64_t, double, std::string, Date, Array, Dictionary> data_;
};

}  // namespace zelvo
