#pragma once

#include <chrono>
#include <cmath>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>

#include "zelvo/platform/http_client.h"

namespace zelvo {

// What the library's own clients share with any other.

// A request's time limit in whole milliseconds, at least one (several stacks read 0 as "no
// limit") and at most a day; NaN gives one.
inline long requestLimitMillis(double seconds) {
  const double millis = std::fmin(seconds * 1000.0, 24.0 * 60 * 60 * 1000);
  return millis >= 1.0 ? static_cast<long>(std::lround(millis)) : 1;
}

// The completion of a GET whose body is kept: the outcome, and the body of an answer.
using HttpBodyCompletion = std::function<void(const HttpResult&, std::string body)>;

// HttpClient::fetch() for a client whose requests are asynchronous: `start` begins the GET and
// hands its completion to the client; this waits up to `limit` for it and returns the body of
// a 2xx answer, nothing for anything else. A completion that comes later is dropped.
// Thread: any the completion does not need.
inline std::optional<std::string> waitForBody(const std::function<void(HttpBodyCompletion)>& start,
                                             std::chrono::milliseconds limit) {
  auto promise = std::make_shared<std::promise<std::optional<std::string>>>();
  std::future<std::optional<std::string>> future = promise->get_future();
  start([promise](const HttpResult& result, std::string body) {
    const auto* response = std::get_if<HttpResponse>(&result);
    const bool success = response != nullptr && response->statusCode >= 200 && response->statusCode <= 299;
    promise->set_value(success ? std::optional<std::string>(std::move(body)) : std::nullopt);
  });
  if (future.wait_for(limit) != std::future_status::ready) return std::nullopt;
  return future.get();
}

}  // namespace zelvo
