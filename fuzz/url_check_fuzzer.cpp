// The ping URL check: whatever it accepts is an https URL of visible ASCII characters.
#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "platform/linux/url_acceptance.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view url(reinterpret_cast<const char*>(data), size);
  if (!zelvo::linux_platform::acceptsHttpsUrl(url)) return 0;
  const bool visible = std::all_of(url.begin(), url.end(), [](char c) { return c > ' ' && c < 0x7f; });
  if (!visible || url.size() < 9 || url[5] != ':') std::abort();
  return 0;
}
