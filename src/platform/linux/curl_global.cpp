#include "platform/linux/curl_global.h"

#include <curl/curl.h>

#include <mutex>

namespace zelvo::linux_platform {

bool ensureCurlGlobalInit() {
  static std::once_flag once;
  static bool ready = false;
  std::call_once(once, [] { ready = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK; });
  return ready;
}

}  // namespace zelvo::linux_platform
