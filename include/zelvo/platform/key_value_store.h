#pragma once

#include <optional>
#include <string>

#include "zelvo/value.h"
#include "zelvo/export.h"

namespace zelvo {

// The persistent store of the application's preferences, which the library uses for the few
// values it keeps across launches. A value read back is the value written, bit for bit.
// Thread: every call is safe from any thread; reads see the latest write of any thread.
class ZELVO_EXPORT KeyValueStore {
 public:
  virtual ~KeyValueStore() = default;
  virtual std::optional<Value> get(const std::string& key) const = 0;
  // Stores `value` (a nil value removes the key). Becomes durable by itself a little later,
  // or at once with synchronize().
  virtual void set(const std::string& key, Value value) = 0;
  virtual void remove(const std::string& key) = 0;
  // Makes every earlier write durable before returning; false if that failed.
  virtual bool synchronize() = 0;
  // Stores `value` unless the key holds one, and returns what the key holds afterwards. A
  // store that several processes share decides in one step, so that two processes starting
  // at once agree on one value; this default suits a store of one process.
  virtual Value setIfAbsent(const std::string& key, Value value) {
    if (std::optional<Value> held = get(key)) return *held;
    set(key, value);
    return value;
  }
};

}  // namespace zelvo
