// Values read back from the store (the typed JSON of each row): what reads writes back the same.
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "zelvo/value.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto value = zelvo::Value::fromTypedJson({reinterpret_cast<const char*>(data), size});
  if (!value) return 0;
  // What was read is within the nesting limit, so it writes.
  const std::optional<std::string> typed = value->toTypedJson();
  if (!typed) std::abort();
  const auto again = zelvo::Value::fromTypedJson(*typed);
  // Compared as text: a NaN is not equal to itself but must keep its bits.
  if (!again || again->toTypedJson() != typed) std::abort();
  return 0;
}
