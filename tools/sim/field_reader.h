#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace zelvo::sim {

// What is wrong with one field of a scenario line; the parser adds the line number. Thrown by
// the readers below and caught by the parser, never beyond it.
struct FieldError {
  std::string field;
  std::string message;
};

// The fields of one JSON object of a scenario line. Remembers which fields were asked for, so
// that a misspelt field is reported instead of silently read as absent.
class FieldReader {
 public:
  // `prefix` names the object in errors ("screen." gives "screen.w").
  explicit FieldReader(const nlohmann::json& object, std::string prefix = "");
  // The field, or nullptr when the object does not have it.
  const nlohmann::json* find(const std::string& name);
  const nlohmann::json& require(const std::string& name);
  // The name of a field as errors call it.
  std::string path(const std::string& name) const { return prefix_ + name; }
  // Throws for the first field nothing asked for.
  void rejectUnknown() const;

 private:
  const nlohmann::json& object_;
  std::string prefix_;
  std::set<std::string> asked_;
};

// Conversions of one value; `field` names it in errors.
uint64_t asUnsigned(const nlohmann::json& value, const std::string& field, uint64_t max);
int64_t asSigned(const nlohmann::json& value, const std::string& field);
double asNumber(const nlohmann::json& value, const std::string& field);
bool asBool(const nlohmann::json& value, const std::string& field);
std::string asString(const nlohmann::json& value, const std::string& field);
const nlohmann::json& asObject(const nlohmann::json& value, const std::string& field);
const nlohmann::json& asArray(const nlohmann::json& value, const std::string& field);
// Two numbers: [w, h], [x, y], [lat, lon].
std::pair<double, double> asPair(const nlohmann::json& value, const std::string& field);
// An absent field and null are both nothing.
std::optional<std::string> asOptionalString(const nlohmann::json* value, const std::string& field);
std::optional<std::vector<std::string>> asOptionalStringList(const nlohmann::json* value, const std::string& field);

}  // namespace zelvo::sim
