#pragma once

#include <optional>
#include <string>

#include "common/log_gate.h"
#include "zelvo/platform/key_value_store.h"

namespace zelvo {

// One of the library's keys as the store takes it. The keys are too long for a string's inline
// buffer, and every ping reads four of them: each is made once, and never destroyed, so that a
// tracker going away late at exit can still use it.
template <const char* const& name>
const std::string& storeKey() {
  static const std::string* const key = new std::string(name);
  return *key;
}

// Typed reads of the library's own keys. A value of another type (a string where a date
// belongs, left by an older version or another program) reads as absent and is logged.
std::optional<double> storedDate(const KeyValueStore* store, const std::string& key, const LogGate& gate);
std::optional<std::string> storedString(const KeyValueStore* store, const std::string& key, const LogGate& gate);

}  // namespace zelvo
