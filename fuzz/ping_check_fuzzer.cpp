// The collector's check of a ping, on a query and on a whole URL.
#include <string_view>

#include "collector/ping_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  zelvo::collector::checkPingQuery(text);
  zelvo::collector::checkPingUrl(text);
  return 0;
}
