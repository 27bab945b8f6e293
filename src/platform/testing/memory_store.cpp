#include "zelvo/testing/memory_store.h"

namespace zelvo::testing {

std::optional<Value> MemoryStore::get(const std::string& key) const {
  std::lock_guard lock(mutex_);
  auto it = values_.find(key);
  if (it == values_.end()) return std::nullopt;
  return it->second;
}

void MemoryStore::set(const std::string& key, Value value) {
  std::lock_guard lock(mutex_);
  // Storing nil removes the key, as the platform's preferences do.
  if (value.isNil()) {
    values_.erase(key);
  } else {
    values_.insert_or_assign(key, std::move(value));
  }
}

void MemoryStore::remove(const std::string& key) {
  std::lock_guard lock(mutex_);
  values_.erase(key);
}

bool MemoryStore::synchronize() {
  std::lock_guard lock(mutex_);
  ++synchronizeCount_;
  return true;
}

int MemoryStore::synchronizeCount() const {
  std::lock_guard lock(mutex_);
  return synchronizeCount_;
}

std::map<std::string, Value> MemoryStore::snapshot() const {
  std::lock_guard lock(mutex_);
  return values_;
}

}  // namespace zelvo::testing
