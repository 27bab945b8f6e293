#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "zelvo/platform/http_client_support.h"
#include "zelvo/platform/http_client.h"
#include "zelvo/zelvo.h"

namespace zelvo::capi {

// The HTTP client of a platform whose host sends the requests itself: every request goes to
// the host's C handler as a zelvo_http_request, which the host ends once, from any thread.
//
// A zelvo_http_request handle is a number, never a pointer to memory: a handle used after its
// request has ended (completed twice, or after the platform is gone) finds nothing and is
// refused, and a later request never takes its number. Destruction fails the requests still
// open with "cancelled".
class HandlerHttpClient : public HttpClient {
 public:
  HandlerHttpClient(zelvo_http_handler handler, void* userData);
  ~HandlerHttpClient() override;
  HandlerHttpClient(const HandlerHttpClient&) = delete;
  HandlerHttpClient& operator=(const HandlerHttpClient&) = delete;

  void startGet(HttpRequest request, HttpCompletion done) override;
  std::optional<std::string> fetch(const std::string& url) override;

 private:
  void submit(HttpRequest request, HttpBodyCompletion done);

  zelvo_http_handler handler_;
  void* userData_;
  const std::uint64_t owner_;
};

}  // namespace zelvo::capi
