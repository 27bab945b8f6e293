#include "common/value_bound.h"

#include <string>

#include "common/concat.h"

namespace zelvo {
namespace {

// `depth` is the number of containers around `value`.
bool nestsWithinBound(const Value& value, int depth) {
  if (const Value::Array* array = value.asArray()) {
    if (depth >= Value::kMaxNesting) return false;
    for (const Value& element : *array) {
      if (!nestsWithinBound(element, depth + 1)) return false;
    }
  } else if (const Value::Dictionary* dictionary = value.asDictionary()) {
    if (depth >= Value::kMaxNesting) return false;
    for (const auto& [key, element] : *dictionary) {
      if (!nestsWithinBound(element, depth + 1)) return false;
    }
  }
  return true;
}

}  // namespace

bool acceptHostValue(const std::optional<Value>& value, LogSink& log, std::string_view call) {
  if (!value || nestsWithinBound(*value, 0)) return true;
  log.write(LogSeverity::kError, concat({"[ZV]:Ignoring ", call, ": the value nests deeper than ",
                                         std::to_string(Value::kMaxNesting), " levels"}));
  return false;
}

}  // namespace zelvo
