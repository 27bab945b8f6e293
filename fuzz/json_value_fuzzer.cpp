// JSON from outside (the remote configuration): what parses writes back and reads back the same.
#include <cstdlib>
#include <string_view>

#include "zelvo/value.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto value = zelvo::Value::fromJson({reinterpret_cast<const char*>(data), size});
  if (!value) return 0;
  const auto json = value->toJson();
  if (!json) std::abort();
  const auto again = zelvo::Value::fromJson(*json);
  if (!again || *again != *value) std::abort();
  return 0;
}
