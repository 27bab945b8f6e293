#include "zelvo/value.h"

#include <cmath>
#include <cstdlib>
#include <limits>

#include "common/json_reader.h"
#include "common/json_writer.h"

namespace zelvo {
namespace {

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

// Writes `v` as plain JSON; false for what JSON cannot hold. `depth` is the number of
// containers around `v`.
bool writePlain(const Value& v, JsonWriter& out, int depth = 0) {
  switch (v.type()) {
    case Value::Type::kNil: out.raw("null"); return true;
    case Value::Type::kBool: out.raw(*v.asBool() ? "true" : "false"); return true;
    case Value::Type::kInt: out.integer(*v.asInt()); return true;
    case Value::Type::kDouble: {
      const double d = *v.asDouble();
      if (!std::isfinite(d)) return false;
      out.number(d);
      return true;
    }
    case Value::Type::kString: return out.string(*v.asString());
    case Value::Type::kDate: return false;
    case Value::Type::kArray: {
      if (depth >= Value::kMaxNesting) return false;
      out.raw("[");
      bool first = true;
      for (const Value& e : *v.asArray()) {
        if (!first) out.raw(",");
        first = false;
        if (!writePlain(e, out, depth + 1)) return false;
      }
      out.raw("]");
      return true;
    }
    case Value::Type::kDictionary: {
      if (depth >= Value::kMaxNesting) return false;
      out.raw("{");
      bool first = true;
      for (const auto& [k, e] : *v.asDictionary()) {
        if (!first) out.raw(",");
        first = false;
        if (!out.string(k)) return false;
        out.raw(":");
        if (!writePlain(e, out, depth + 1)) return false;
      }
      out.raw("}");
      return true;
    }
  }
  return false;
}

// Non-finite doubles have no JSON number; the typed form spells them out.
void writeTypedDouble(double d, JsonWriter& out) {
  if (std::isnan(d)) {
    out.raw("\"nan\"");
  } else if (std::isinf(d)) {
    out.raw(d > 0 ? "\"inf\"" : "\"-inf\"");
  } else {
    out.number(d);
  }
}

std::optional<double> readTypedDouble(const Value& j) {
  if (const auto i = j.asInt()) return static_cast<double>(*i);
  if (const auto d = j.asDouble()) return *d;
  if (const std::string* s = j.asString()) {
    if (*s == "nan") return std::numeric_limits<double>::quiet_NaN();
    if (*s == "inf") return std::numeric_limits<double>::infinity();
    if (*s == "-inf") return -std::numeric_limits<double>::infinity();
  }
  return std::nullopt;
}

// Writes `v` in the typed form; false for a value nested too deep. `depth` is the number of
// containers around `v`.
bool writeTyped(const Value& v, JsonWriter& out, int depth = 0) {
  switch (v.type()) {
    case Value::Type::kNil: out.raw("{\"nil\":null}"); return true;
    case Value::Type::kBool: out.raw(*v.asBool() ? "{\"bool\":true}" : "{\"bool\":false}"); return true;
    case Value::Type::kInt:
      out.raw("{\"int\":");
      out.integer(*v.asInt());
      break;
    case Value::Type::kDouble:
      out.raw("{\"double\":");
      writeTypedDouble(*v.asDouble(), out);
      break;
    case Value::Type::kString:
      out.raw("{\"string\":");
      static_cast<void>(out.string(*v.asString()));  // broken UTF-8 is replaced, never refused
      break;
    case Value::Type::kDate:
      out.raw("{\"date\":");
      writeTypedDouble(v.asDate()->seconds, out);
      break;
    case Value::Type::kArray: {
      if (depth >= Value::kMaxNesting) return false;
      out.raw("{\"array\":[");
      bool first = true;
      for (const Value& e : *v.asArray()) {
        if (!first) out.raw(",");
        first = false;
        if (!writeTyped(e, out, depth + 1)) return false;
      }
      out.raw("]");
      break;
    }
    case Value::Type::kDictionary: {
      if (depth >= Value::kMaxNesting) return false;
      out.raw("{\"dict\":{");
      bool first = true;
      for (const auto& [k, e] : *v.asDictionary()) {
        if (!first) out.raw(",");
        first = false;
        static_cast<void>(out.string(k));
        out.raw(":");
        if (!writeTyped(e, out, depth + 1)) return false;
      }
      out.raw("}");
      break;
    }
  }
  out.raw("}");
  return true;
}

// The value a one-key object of the typed form stands for, read as plain JSON.
std::optional<Value> fromTyped(const Value& j) {
  const Value::Dictionary* object = j.asDictionary();
  if (!object || object->size() != 1) return std::nullopt;
  const auto& [tag, body] = *object->begin();
  if (tag == "nil") return Value();
  if (tag == "bool" && body.asBool()) return body;
  if (tag == "int" && body.asInt()) return body;
  if (tag == "double") {
    if (auto d = readTypedDouble(body)) return Value(*d);
    return std::nullopt;
  }
  if (tag == "string" && body.asString()) return body;
  if (tag == "date") {
    if (auto d = readTypedDouble(body)) return Value(Date{*d});
    return std::nullopt;
  }
  if (const Value::Array* elements = body.asArray(); tag == "array" && elements) {
    Value::Array a;
    a.reserve(elements->size());
    for (const Value& e : *elements) {
      auto v = fromTyped(e);
      if (!v) return std::nullopt;
      a.push_back(std::move(*v));
    }
    return Value(std::move(a));
  }
  if (const Value::Dictionary* members = body.asDictionary(); tag == "dict" && members) {
    Value::Dictionary d;
    for (const auto& [k, e] : *members) {
      auto v = fromTyped(e);
      if (!v) return std::nullopt;
      d.emplace_hint(d.end(), k, std::move(*v));
    }
    // Made in place: from a temporary Value, GCC 12 at -O3 sees its destructor free a string
    // it cannot tell the dictionary is not (a false -Wmaybe-uninitialized).
    return std::optional<Value>(std::in_place, std::move(d));
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
  JsonWriter out(JsonWriter::BrokenUtf8::kRefuse);
  if (!writePlain(*this, out)) return std::nullopt;
  return out.take();
}

std::optional<Value> Value::fromJson(std::string_view text, ReadFailure* failure) {
  return readJson(text, kMaxNesting, failure);
}

std::optional<std::string> Value::toTypedJson() const {
  JsonWriter out(JsonWriter::BrokenUtf8::kReplace);
  if (!writeTyped(*this, out)) return std::nullopt;
  return out.take();
}

std::optional<Value> Value::fromTypedJson(std::string_view text, ReadFailure* failure) {
  std::optional<Value> json = readJson(text, kMaxTypedJsonNesting, failure);
  if (!json) return std::nullopt;
  std::optional<Value> value = fromTyped(*json);
  if (!value && failure) *failure = ReadFailure::kMalformed;
  return value;
}

}  // namespace zelvo
