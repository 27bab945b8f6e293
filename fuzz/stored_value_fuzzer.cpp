// Values read back from the store (the typed JSON of each row): what reads writes back the same.
#include <cstdlib>
#include <string_view>

#include "zelvo/value.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto value = zelvo::Value::fromTypedJson({reinterpret_cast<const char*>(data), size});
  if (!value) return 0;
  const std::string typed = value->toTypedJson();
  const auto again = zelvo::Value::fromTypedJson(typed);
  // Compared as text: a NaN is not equal to itself but must keep its bits.
  if (!again || again->toTypedJson() != typed) std::abort();
  return 0;
}
