// The C handler's contract beyond what the conformance table sends: each request ends once,
// inside the handler's call or later; every later use of its handle is refused, also once the
// platform has gone and failed what it still held.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "capi/http_handler.h"

namespace zelvo::transport {
namespace {

struct Host {
  std::vector<zelvo_http_request*> requests;
  bool completeInside = false;
};

HttpRequest get(std::string url, std::vector<std::pair<std::string, std::string>> headers = {}) {
  return HttpRequest{std::move(url), std::move(headers), 5.0, false};
}

void handle(void* data, zelvo_http_request* request) {
  auto& host = *static_cast<Host*>(data);
  host.requests.push_back(request);
  if (host.completeInside) {
    EXPECT_EQ(zelvo_http_request_complete(request, 200, nullptr, 0), ZELVO_OK);
  }
}

TEST(HttpHandler, EndsEachRequestOnceAndRefusesEveryLaterUse) {
  Host host;
  std::vector<std::string> ends;
  auto record = [&](const HttpResult& result) {
    if (const auto* response = std::get_if<HttpResponse>(&result)) {
      ends.push_back(std::to_string(response->statusCode) + " " + response->url);
    } else {
      const auto& error = std::get<HttpError>(result);
      ends.push_back(error.description + " " + std::to_string(static_cast<int>(error.kind)) + " " + error.failingUrl);
    }
  };
  auto client = std::make_unique<capi::HandlerHttpClient>(&handle, &host);
  host.completeInside = true;
  client->startGet(get("https://a.example/inside"), record);
  host.completeInside = false;
  client->startGet(get("https://a.example/later", {{"User-Agent", "UA"}}), record);
  client->startGet(get("https://a.example/failed"), record);
  client->startGet(get("https://a.example/open"), record);
  ASSERT_EQ(host.requests.size(), 4u);
  zelvo_http_request* const inside = host.requests[0];
  zelvo_http_request* const later = host.requests[1];
  zelvo_http_request* const failed = host.requests[2];
  zelvo_http_request* const open = host.requests[3];

  const char* text = nullptr;
  EXPECT_EQ(zelvo_http_request_header(later, "user-agent", &text), ZELVO_OK);
  EXPECT_STREQ(text, "UA");
  EXPECT_EQ(zelvo_http_request_header(later, "Pragma", &text), ZELVO_OK);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(zelvo_http_request_url(later, &text), ZELVO_OK);
  EXPECT_STREQ(text, "https://a.example/later");
  EXPECT_EQ(zelvo_http_request_complete(later, 503, nullptr, 1), ZELVO_ERROR_NULL_ARGUMENT);
  EXPECT_EQ(zelvo_http_request_complete(later, 503, "x", 1), ZELVO_OK);
  EXPECT_EQ(zelvo_http_request_fail(failed, ZELVO_PING_DELIVERED, "no"), ZELVO_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(zelvo_http_request_fail(failed, ZELVO_PING_TLS_FAILED, "bad certificate"), ZELVO_OK);

  // Completed already: refused, whatever the call.
  for (zelvo_http_request* done : {inside, later, failed}) {
    EXPECT_EQ(zelvo_http_request_complete(done, 200, nullptr, 0), ZELVO_ERROR_REFUSED);
    EXPECT_EQ(zelvo_http_request_fail(done, ZELVO_PING_FAILED, nullptr), ZELVO_ERROR_REFUSED);
    EXPECT_EQ(zelvo_http_request_url(done, &text), ZELVO_ERROR_REFUSED);
  }
  // The platform's client goes: what it held is failed, and the host's answer comes too late.
  client.reset();
  EXPECT_EQ(zelvo_http_request_complete(open, 200, nullptr, 0), ZELVO_ERROR_REFUSED);
  EXPECT_EQ(ends, (std::vector<std::string>{"200 https://a.example/inside", "503 https://a.example/later",
                                            "bad certificate 1 https://a.example/failed",
                                            "cancelled 3 https://a.example/open"}));
}

}  // namespace
}  // namespace zelvo::transport
