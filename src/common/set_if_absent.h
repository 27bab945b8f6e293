#pragma once

#include <optional>
#include <string>

#include "zelvo/platform/key_value_store.h"

namespace zelvo {

// setIfAbsent by get() and set(): for a store of one process, and for a shared store that
// cannot decide in one step this time.
inline Value setIfAbsentInOneProcess(KeyValueStore& store, const std::string& key, Value value) {
  if (std::optional<Value> held = store.get(key)) return *held;
  store.set(key, value);
  return value;
}

}  // namespace zelvo
