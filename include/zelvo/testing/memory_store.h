#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "zelvo/platform/key_value_store.h"
#include "zelvo/export.h"

namespace zelvo::testing {

// A store in memory, with counters of synchronize() calls.
class ZELVO_EXPORT MemoryStore : public KeyValueStore {
 public:
  std::optional<Value> get(const std::string& key) const override;
  void set(const std::string& key, Value value) override;
  void remove(const std::string& key) override;
  bool synchronize() override;
  int synchronizeCount() const;
  std::map<std::string, Value> snapshot() const;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, Value> values_;
  int synchronizeCount_ = 0;
};

}  // namespace zelvo::testing
