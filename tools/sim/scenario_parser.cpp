#include <algorithm>

#include "sim/line_parsers.h"
#include "sim/scenario.h"

namespace zelvo::sim {
namespace {

using nlohmann::json;

// More nesting than this is no scenario; refusing it keeps the recursive conversions of
// values (store, idSync, config) within the stack.
constexpr int kMaxDepth = 64;

// What the parsed JSON cannot tell: the top-level "at" number as it is written (the parsed
// double has already lost the decimal digits that make the time exact), and how deeply the
// line nests.
class LineScan : public nlohmann::json_sax<json> {
 public:
  std::string atText;
  int maxDepth = 0;

  bool null() override { return value(""); }
  bool boolean(bool) override { return value(""); }
  bool number_integer(number_integer_t v) override { return value(std::to_string(v)); }
  bool number_unsigned(number_unsigned_t v) override { return value(std::to_string(v)); }
  bool number_float(number_float_t, const string_t& written) override { return value(written); }
  bool string(string_t&) override { return value(""); }
  bool binary(binary_t&) override { return value(""); }
  bool start_object(std::size_t) override { return open(); }
  bool end_object() override { return close(); }
  bool start_array(std::size_t) override { return open(); }
  bool end_array() override { return close(); }
  bool key(string_t& name) override {
    atKey_ = depth_ == 1 && name == "at";
    return true;
  }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override { return false; }

 private:
  bool value(const std::string& written) {
    if (atKey_ && depth_ == 1) atText = written;
    atKey_ = false;
    return true;
  }
  bool open() {
    value("");
    maxDepth = std::max(maxDepth, ++depth_);
    return true;
  }
  bool close() {
    --depth_;
    return true;
  }
  int depth_ = 0;
  bool atKey_ = false;
};

Millis readAt(const json& at, const std::string& written) {
  if (!at.is_number()) throw FieldError{"at", "must be a number of seconds"};
  if (at.get<double>() < 0) throw FieldError{"at", "must not be negative"};
  const auto millis = millisFromDecimal(written);
  if (!millis) {
    throw FieldError{"at", "must have at most three decimals (milliseconds) and be at most " +
                               decimalFromMillis(kMaxScenarioMillis) + " seconds"};
  }
  return *millis;
}

std::string trimmed(const std::string& line) {
  const auto first = line.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return "";
  return line.substr(first, line.find_last_not_of(" \t\r\n") - first + 1);
}

}  // namespace

std::string ScenarioError::text() const {
  return "line " + std::to_string(line) + ": " + (field.empty() ? "" : field + ": ") + message;
}

std::variant<Scenario, ScenarioError> parseScenario(std::istream& in) {
  Scenario scenario;
  bool haveWorld = false;
  int lineNumber = 0;
  std::string raw;
  while (std::getline(in, raw)) {
    ++lineNumber;
    const std::string line = trimmed(raw);
    if (line.empty() || line.starts_with("//")) continue;
    json object;
    try {
      object = json::parse(line);
    } catch (const json::exception& e) {  // a syntax error, or a number no double holds (7e999)
      return ScenarioError{lineNumber, "", std::string("not valid JSON: ") + e.what()};
    }
    if (!object.is_object()) return ScenarioError{lineNumber, "", "must be a JSON object"};
    LineScan scan;
    json::sax_parse(line, &scan);
    if (scan.maxDepth > kMaxDepth) {
      return ScenarioError{lineNumber, "", "nests more than " + std::to_string(kMaxDepth) + " levels deep"};
    }
    try {
      FieldReader fields(object);
      const std::string name = asString(fields.require("do"), "do");
      if (!haveWorld) {
        if (name != "world") throw FieldError{"do", "the first line must be the world, not \"" + name + "\""};
        scenario.world = parseWorld(fields);
        haveWorld = true;
      } else {
        if (name == "world") throw FieldError{"do", "the world is given once, on the first line"};
        Action action;
        action.line = lineNumber;
        action.at = readAt(fields.require("at"), scan.atText);
        if (!scenario.actions.empty() && action.at < scenario.actions.back().at) {
          throw FieldError{"at", "goes back in time (" + decimalFromMillis(action.at) + " after " +
                                     decimalFromMillis(scenario.actions.back().at) + ")"};
        }
        action.run = parseAction(name, fields);
        scenario.actions.push_back(std::move(action));
      }
      fields.rejectUnknown();
    } catch (const FieldError& e) {
      return ScenarioError{lineNumber, e.field, e.message};
    }
  }
  if (!haveWorld) return ScenarioError{lineNumber + 1, "do", "the scenario has no world line"};
  return scenario;
}

}  // namespace zelvo::sim
