#include "zelvo/platform/key_value_store.h"

#include <utility>

#include "common/set_if_absent.h"

namespace zelvo {

Value setIfAbsent(KeyValueStore& store, const std::string& key, Value value) {
  if (auto* shared = dynamic_cast<SharedKeyValueStore*>(&store)) return shared->setIfAbsent(key, std::move(value));
  return setIfAbsentInOneProcess(store, key, std::move(value));
}

}  // namespace zelvo
