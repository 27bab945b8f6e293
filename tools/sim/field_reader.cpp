#include "sim/field_reader.h"

namespace zelvo::sim {

using nlohmann::json;

FieldReader::FieldReader(const json& object, std::string prefix) : object_(object), prefix_(std::move(prefix)) {}

const json* FieldReader::find(const std::string& name) {
  asked_.insert(name);
  auto it = object_.find(name);
  return it == object_.end() ? nullptr : &*it;
}

const json& FieldReader::require(const std::string& name) {
  if (const json* value = find(name)) return *value;
  throw FieldError{path(name), "missing"};
}

void FieldReader::rejectUnknown() const {
  for (const auto& [name, value] : object_.items()) {
    if (!asked_.contains(name)) throw FieldError{path(name), "unknown field"};
  }
}

uint64_t asUnsigned(const json& value, const std::string& field, uint64_t max) {
  if (!value.is_number_unsigned() || value.get<uint64_t>() > max) {
    throw FieldError{field, "must be a whole number from 0 to " + std::to_string(max)};
  }
  return value.get<uint64_t>();
}

int64_t asSigned(const json& value, const std::string& field) {
  // Unsigned values above the signed range are not integers of this kind either.
  if (!value.is_number_integer() || (value.is_number_unsigned() && value.get<uint64_t>() > INT64_MAX)) {
    throw FieldError{field, "must be a whole number in the signed 64-bit range"};
  }
  return value.get<int64_t>();
}

double asNumber(const json& value, const std::string& field) {
  if (!value.is_number()) throw FieldError{field, "must be a number"};
  return value.get<double>();
}

bool asBool(const json& value, const std::string& field) {
  if (!value.is_boolean()) throw FieldError{field, "must be true or false"};
  return value.get<bool>();
}

std::string asString(const json& value, const std::string& field) {
  if (!value.is_string()) throw FieldError{field, "must be a string"};
  return value.get<std::string>();
}

const json& asObject(const json& value, const std::string& field) {
  if (!value.is_object()) throw FieldError{field, "must be an object"};
  return value;
}

const json& asArray(const json& value, const std::string& field) {
  if (!value.is_array()) throw FieldError{field, "must be a list"};
  return value;
}

std::pair<double, double> asPair(const json& value, const std::string& field) {
  if (!value.is_array() || value.size() != 2 || !value[0].is_number() || !value[1].is_number()) {
    throw FieldError{field, "must be a list of two numbers"};
  }
  return {value[0].get<double>(), value[1].get<double>()};
}

std::optional<std::string> asOptionalString(const json* value, const std::string& field) {
  if (!value || value->is_null()) return std::nullopt;
  return asString(*value, field);
}

std::optional<std::vector<std::string>> asOptionalStringList(const json* value, const std::string& field) {
  if (!value || value->is_null()) return std::nullopt;
  std::vector<std::string> list;
  for (const json& element : asArray(*value, field)) {
    if (!element.is_string()) throw FieldError{field, "must be a list of strings, or null"};
    list.push_back(element.get<std::string>());
  }
  return list;
}

}  // namespace zelvo::sim
