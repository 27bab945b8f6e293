#pragma once

#include <optional>
#include <string>

#include "common/log_gate.h"
#include "zelvo/platform/key_value_store.h"

namespace zelvo {

// Typed reads of the library's own keys. A value of another type (a string where a date
// belongs, left by an older version or another program) reads as absent and is logged.
std::optional<double> storedDate(const KeyValueStore* store, const char* key, const LogGate& gate);
std::optional<std::string> storedString(const KeyValueStore* store, const char* key, const LogGate& gate);

}  // namespace zelvo
