#include "platform/linux/host_http_client.h"

#include <utility>
#include <variant>

#include "platform/linux/url_acceptance.h"

namespace zelvo::linux_platform {

HostHttpClient::HostHttpClient(std::shared_ptr<HttpClient> client, const std::optional<std::string>& endpoint)
    : client_(std::move(client)) {
  if (!endpoint) return;
  auto parsed = Endpoint::parse(*endpoint);
  if (auto* why = std::get_if<std::string>(&parsed)) {
    configurationError_ = std::move(*why);
  } else {
    endpoint_ = std::get<Endpoint>(std::move(parsed));
  }
}

void HostHttpClient::startGet(HttpRequest request, HttpCompletion done) {
  if (configurationError_) return done(HttpError{"not sent: " + *configurationError_, request.url});
  if (!endpoint_) return client_->startGet(std::move(request), std::move(done));
  std::string asked = request.url;
  request.url = endpoint_->map(asked);
  client_->startGet(std::move(request), [asked = std::move(asked), done = std::move(done)](const HttpResult& result) {
    if (const auto* response = std::get_if<HttpResponse>(&result)) {
      done(HttpResponse{response->statusCode, asked});
    } else {
      const auto& error = std::get<HttpError>(result);
      done(HttpError{error.description, asked, error.kind});
    }
  });
}

std::optional<std::string> HostHttpClient::fetch(const std::string& url) {
  if (configurationError_) return std::nullopt;
  return client_->fetch(endpoint_ ? endpoint_->map(url) : url);
}

bool HostHttpClient::acceptsUrl(std::string_view url) const {
  if (!acceptsHttpsUrl(url)) return false;
  return endpoint_ ? client_->acceptsUrl(endpoint_->map(std::string(url))) : client_->acceptsUrl(url);
}

}  // namespace zelvo::linux_platform
