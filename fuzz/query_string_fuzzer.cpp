// The collector's query split and percent decoding.
#include <cstdlib>
#include <string_view>

#include "collector/query_string.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view query(reinterpret_cast<const char*>(data), size);
  std::size_t bytes = 0;
  for (const auto& item : zelvo::collector::splitQuery(query)) {
    bytes += item.key.size() + item.value.size() + (item.hasEquals ? 1 : 0) + 1;
  }
  // Splitting loses only the "&" separators (one fewer than items; none for an empty query).
  if (bytes != (query.empty() ? 0 : query.size() + 1)) std::abort();
  const bool wellFormed = zelvo::collector::hasWellFormedEscapes(query);
  if (zelvo::collector::percentDecode(query).has_value() != wellFormed) std::abort();
  return 0;
}
