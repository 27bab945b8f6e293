#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/linux/endpoint.h"
#include "zelvo/platform/http_client.h"

namespace zelvo::linux_platform {

// A host's HTTP client as the Linux platform uses it: the library's URL check before the
// client's own, and the endpoint applied as with curl. Requests are moved onto the endpoint on
// their way out and their outcomes name the library's URL again on their way back, so the
// library finds the request an answer belongs to whatever the client reports.
class HostHttpClient : public HttpClient {
 public:
  // `endpoint` is the platform's option as given; a malformed one fails every request, with
  // the reason in configurationError().
  HostHttpClient(std::shared_ptr<HttpClient> client, const std::optional<std::string>& endpoint);

  void startGet(HttpRequest request, HttpCompletion done) override;
  std::optional<std::string> fetch(const std::string& url) override;
  bool acceptsUrl(std::string_view url) const override;

  const std::optional<std::string>& configurationError() const { return configurationError_; }

 private:
  std::shared_ptr<HttpClient> client_;
  std::optional<Endpoint> endpoint_;
  std::optional<std::string> configurationError_;
};

}  // namespace zelvo::linux_platform
