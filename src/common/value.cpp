#include "zelvo/value.h"

#include <cmath>
#include <cstdlib>
#include <limits>

#include <nlohmann/json.hpp>

namespace zelvo {
namespace {

using json = nlohmann::json;

int64_t truncateToInt64(double d) {
  if (std::isnan(d)) return 0;
  // 2^63 is exactly representable; anything at or beyond it saturates instead of overflowing.
  constexpr double kLimit = 9223372036854775808.0;
  if (d >= kLimit) return std::numeric_limits<int64_t>::max();
  if (d <= -kLimit) return std::numeric_limits<int64_t>::min();
  return static_cast<int64_t>(d);
}

// The typed form wraps every value in a one-key object, so a value nested n deep is text
// nested 2n + 1 deep.
constexpr int kMaxTypedJsonNesting = 2 * Value::kMaxNesting + 1;

// Parses `text` into a document no deeper than `maxNesting`. The parser itself keeps its
// state on the heap; the limit protects the recursive conversions that follow.
std::optional<json> parseBounded(std::string_view text, int maxNesting, Value::ReadFailure* failure) {
  bool tooDeep = false;
  // `depth` counts the containers around the one starting, so the outermost starts at 0.
  const json::parser_callback_t limit = [&](int depth, json::parse_event_t event, json&) {
    if ((event == json::parse_event_t::object_start || event == json::parse_event_t::array_start) &&
        depth >= maxNesting) {
      tooDeep = true;
      return false;  // keeps nothing of it; the parse goes on without recursing
    }
    return true;
  };
  json j = json::parse(text.begin(), text.end(), limit, /*allow_exceptions=*/false);
  if (j.is_discarded() || tooDeep) {
    if (failure) *failure = tooDeep && !j.is_discarded() ? Value::ReadFailure::kTooDeep : Value::ReadFailure::kMalformed;
    return std::nullopt;
  }
  return j;
}

// `depth` is the number of containers around `v`.
bool toPlainJson(const Value& v, json& out, int depth = 0) {
  switch (v.type()) {
    case Value::Type::kNil: out = nullptr; return true;
    case Value::Type::kBool: out = *v.asBool(); return true;
    case Value::Type::kInt: out = *v.asInt(); return true;
    case Value::Type::kDouble: {
      double d = *v.asDouble();
      if (!std::isfinite(d)) return false;
      out = d;
      return true;
    }
    case Value::Type::kString: out = *v.asString(); return true;
    case Value::Type::kDate: return false;
    case Value::Type::kArray: {
      if (depth >= Value::kMaxNesting) return false;
      out = json::array();
      for (const Value& e : *v.asArray()) {
        json j;
        if (!toPlainJson(e, j, depth + 1)) return false;
        out.push_back(std::move(j));
      }
      return true;
    }
    case Value::Type::kDictionary: {
      if (depth >= Value::kMaxNesting) return false;
      out = json::object();
      for (const auto& [k, e] : *v.asDictionary()) {
        json j;
        if (!toPlainJson(e, j, depth + 1)) return false;
        out[k] = std::move(j);
      }
      return true;
    }
  }
  return false;
}

Value fromPlainJson(const json& j) {
  switch (j.type()) {
    case json::value_t::boolean: return Value(j.get<bool>());
    case json::value_t::number_integer: return Value(j.get<int64_t>());
    case json::value_t::number_unsigned: {
      uint64_t u = j.get<uint64_t>();
      if (u <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) return Value(static_cast<int64_t>(u));
      return Value(static_cast<double>(u));
    }
    case json::value_t::number_float: return Value(j.get<double>());
    case json::value_t::string: return Value(j.get<std::string>());
    case json::value_t::array: {
      Value::Array a;
      a.reserve(j.size());
      for (const json& e : j) a.push_back(fromPlainJson(e));
      return Value(std::move(a));
    }
    case json::value_t::object: {
      Value::Dictionary d;
      for (auto it = j.begin(); it != j.end(); ++it) d.emplace(it.key(), fromPlainJson(it.value()));
      return Value(std::move(d));
    }
    default: return Value();
  }
}

// Non-finite doubles have no JSON number; the typed form spells them out.
json typedDouble(double d) {
  if (std::isnan(d)) return "nan";
  if (std::isinf(d)) return d > 0 ? "inf" : "-inf";
  return d;
}

std::optional<double> readTypedDouble(const json& j) {
  if (j.is_number()) return j.get<double>();
  if (j.is_string()) {
    const auto& s = j.get_ref<const std::string&>();
    if (s == "nan") return std::numeric_limits<double>::quiet_NaN();
    if (s == "inf") return std::numeric_limits<double>::infinity();
    if (s == "-inf") return -std::numeric_limits<double>::infinity();
  }
  return std::nullopt;
}

// `depth` is the number of containers around `v`.
std::optional<json> toTyped(const Value& v, int depth = 0) {
  switch (v.type()) {
    case Value::Type::kNil: return json{{"nil", nullptr}};
    case Value::Type::kBool: return json{{"bool", *v.asBool()}};
    case Value::Type::kInt: return json{{"int", *v.asInt()}};
    case Value::Type::kDouble: return json{{"double", typedDouble(*v.asDouble())}};
    case Value::Type::kString: return json{{"string", *v.asString()}};
    case Value::Type::kDate: return json{{"date", typedDouble(v.asDate()->seconds)}};
    case Value::Type::kArray: {
      if (depth >= Value::kMaxNesting) return std::nullopt;
      json a = json::array();
      for (const Value& e : *v.asArray()) {
        std::optional<json> element = toTyped(e, depth + 1);
        if (!element) return std::nullopt;
        a.push_back(std::move(*element));
      }
      return json{{"array", std::move(a)}};
    }
    case Value::Type::kDictionary: {
      if (depth >= Value::kMaxNesting) return std::nullopt;
      json d = json::object();
      for (const auto& [k, e] : *v.asDictionary()) {
        std::optional<json> element = toTyped(e, depth + 1);
        if (!element) return std::nullopt;
        d[k] = std::move(*element);
      }
      return json{{"dict", std::move(d)}};
    }
  }
  return json{{"nil", nullptr}};
}

std::optional<Value> fromTyped(const json& j) {
  if (!j.is_object() || j.size() != 1) return std::nullopt;
  const auto only = j.begin();
  const std::string& tag = only.key();
  const json& body = only.value();
  if (tag == "nil") return Value();
  if (tag == "bool" && body.is_boolean()) return Value(body.get<bool>());
  if (tag == "int" && (body.is_number_integer())) {
    if (body.is_number_unsigned() && body.get<uint64_t>() > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
      return std::nullopt;
    }
    return Value(body.get<int64_t>());
  }
  if (tag == "double") {
    if (auto d = readTypedDouble(body)) return Value(*d);
    return std::nullopt;
  }
  if (tag == "string" && body.is_string()) return Value(body.get<std::string>());
  if (tag == "date") {
    if (auto d = readTypedDouble(body)) return Value(Date{*d});
    return std::nullopt;
  }
  if (tag == "array" && body.is_array()) {
    Value::Array a;
    for (const json& e : body) {
      auto v = fromTyped(e);
      if (!v) return std::nullopt;
      a.push_back(std::move(*v));
    }
    return Value(std::move(a));
  }
  if (tag == "dict" && body.is_object()) {
    Value::Dictionary d;
    for (auto it = body.begin(); it != body.end(); ++it) {
      auto v = fromTyped(it.value());
      if (!v) return std::nullopt;
      d.emplace(it.key(), std::move(*v));
    }
    return Value(std::move(d));
  }
  return std::nullopt;
}

}  // namespace

bool Value::isNumber() const {
  Type t = type();
  return t == Type::kBool || t == Type::kInt || t == Type::kDouble;
}

std::optional<bool> Value::asBool() const {
  if (const bool* b = std::get_if<bool>(&data_)) return *b;
  return std::nullopt;
}

std::optional<int64_t> Value::asInt() const {
  if (const int64_t* i = std::get_if<int64_t>(&data_)) return *i;
  return std::nullopt;
}

std::optional<double> Value::asDouble() const {
  if (const double* d = std::get_if<double>(&data_)) return *d;
  return std::nullopt;
}

int64_t Value::longLongValue() const {
  switch (type()) {
    case Type::kBool: return *asBool() ? 1 : 0;
    case Type::kInt: return *asInt();
    case Type::kDouble: return truncateToInt64(*asDouble());
    case Type::kString: {
      // Like a string's integer value: leading blanks, a sign and digits; 0 when none.
      const std::string& s = *asString();
      // strtoll saturates out-of-range text, as the platform's integer value does.
      return std::strtoll(s.c_str(), nullptr, 10);
    }
    default: return 0;
  }
}

double Value::doubleValue() const {
  switch (type()) {
    case Type::kBool: return *asBool() ? 1.0 : 0.0;
    case Type::kInt: return static_cast<double>(*asInt());
    case Type::kDouble: return *asDouble();
    case Type::kString: return std::strtod(asString()->c_str(), nullptr);
    default: return 0.0;
  }
}

const Value* Value::find(std::string_view key) const {
  const Dictionary* d = asDictionary();
  if (!d) return nullptr;
  auto it = d->find(key);
  return it == d->end() ? nullptr : &it->second;
}

std::optional<std::string> Value::toJson() const {
  json j;
  if (!toPlainJson(*this, j)) return std::nullopt;
  try {
    return j.dump(-1, ' ', false, json::error_handler_t::strict);
  } catch (const json::exception&) {
    return std::nullopt;  // a string that is not valid UTF-8
  }
}

std::optional<Value> Value::fromJson(std::string_view text, ReadFailure* failure) {
  std::optional<json> j = parseBounded(text, kMaxNesting, failure);
  if (!j) return std::nullopt;
  return fromPlainJson(*j);
}

std::optional<std::string> Value::toTypedJson() const {
  std::optional<json> j = toTyped(*this);
  if (!j) return std::nullopt;
  return j->dump(-1, ' ', false, json::error_handler_t::replace);
}

std::optional<Value> Value::fromTypedJson(std::string_view text, ReadFailure* failure) {
  std::optional<json> j = parseBounded(text, kMaxTypedJsonNesting, failure);
  if (!j) return std::nullopt;
  std::optional<Value> value = fromTyped(*j);
  if (!value && failure) *failure = ReadFailure::kMalformed;
  return value;
}

}  // namespace zelvo
