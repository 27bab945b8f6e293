#include <gtest/gtest.h>

#include <thread>
#include <variant>
#include <vector>

#include "zelvo/testing/testing_platform.h"

namespace zelvo::testing {
namespace {

using Delivery = ScriptedHttpClient::Delivery;
using Answer = ScriptedHttpClient::Answer;

struct Results {
  std::mutex mutex;
  std::vector<HttpResult> results;
  std::vector<std::thread::id> threads;

  HttpCompletion completion() {
    return [this](const HttpResult& r) {
      std::lock_guard lock(mutex);
      results.push_back(r);
      threads.push_back(std::this_thread::get_id());
    };
  }
};

HttpRequest get(std::string url) {
  HttpRequest request;
  request.url = std::move(url);
  return request;
}

int statusOf(const HttpResult& r) { return std::holds_alternative<HttpResponse>(r) ? std::get<HttpResponse>(r).statusCode : -1; }

TEST(ScriptedHttpClientTest, RecordsRequestsAndAnswersInQueueOrder) {
  ScriptedHttpClient http(Delivery::kDeferred);
  Results got;
  http.enqueueStatuses({204, 500});
  http.enqueue(Answer::error());
  http.enqueue(Answer::never());
  http.setDefaultAnswer(Answer::withStatus(302));
  for (int i = 0; i < 5; ++i) {
    http.startGet({"https://example.test/" + std::to_string(i), {{"User-Agent", "ua"}}, 7.5, i == 0}, got.completion());
  }
  EXPECT_TRUE(got.results.empty());
  EXPECT_EQ(http.deliverPending(), 4u);  // the never-answered one is dropped
  ASSERT_EQ(got.results.size(), 4u);
  EXPECT_EQ(statusOf(got.results[0]), 204);
  EXPECT_EQ(std::get<HttpResponse>(got.results[0]).url, "https://example.test/0");
  EXPECT_EQ(statusOf(got.results[1]), 500);
  ASSERT_TRUE(std::holds_alternative<HttpError>(got.results[2]));
  EXPECT_EQ(std::get<HttpError>(got.results[2]).failingUrl, "https://example.test/2");
  EXPECT_EQ(statusOf(got.results[3]), 302);

  const auto requests = http.requests();
  ASSERT_EQ(requests.size(), 5u);
  EXPECT_EQ(requests[0].header("user-agent"), "ua");
  EXPECT_EQ(requests[0].header("Accept"), "");
  EXPECT_EQ(requests[0].request.timeoutSeconds, 7.5);
  EXPECT_TRUE(requests[0].request.ignoreCaches);
  EXPECT_FALSE(requests[1].request.ignoreCaches);
  EXPECT_EQ(http.unscriptedCount(), 0u);
}

TEST(ScriptedHttpClientTest, UnscriptedRequestFailsLoudly) {
  ScriptedHttpClient http(Delivery::kInline);
  Results got;
  http.startGet(get("https://example.test/nobody-expected-me"), got.completion());
  ASSERT_EQ(got.results.size(), 1u);
  ASSERT_TRUE(std::holds_alternative<HttpError>(got.results[0]));
  EXPECT_NE(std::get<HttpError>(got.results[0]).description.find("unscripted request"), std::string::npos);
  EXPECT_EQ(http.unscriptedCount(), 1u);
}

TEST(ScriptedHttpClientTest, CompletionsMayStartRequestsInEveryMode) {
  for (Delivery mode : {Delivery::kInline, Delivery::kDeferred, Delivery::kThread}) {
    SCOPED_TRACE(static_cast<int>(mode));
    ScriptedHttpClient http(mode);
    http.setDefaultAnswer(Answer::withStatus(200));
    Results got;
    http.startGet(get("https://example.test/first"), [&](const HttpResult& r) {
      got.completion()(r);
      http.startGet(get("https://example.test/second"), got.completion());
    });
    if (mode == Delivery::kDeferred) {
      EXPECT_EQ(http.deliverPending(), 2u);
    } else if (mode == Delivery::kThread) {
      EXPECT_TRUE(http.waitUntilIdle(10.0));
    }
    std::lock_guard lock(got.mutex);
    ASSERT_EQ(got.results.size(), 2u);
    EXPECT_EQ(std::get<HttpResponse>(got.results[1]).url, "https://example.test/second");
    const bool onCaller = got.threads[0] == std::this_thread::get_id();
    EXPECT_EQ(onCaller, mode != Delivery::kThread);
  }
}

TEST(ScriptedHttpClientTest, EndlessRetriesDoNotHangDelivery) {
  ScriptedHttpClient http(Delivery::kDeferred);
  http.setDefaultAnswer(Answer::error());
  std::function<void(const HttpResult&)> retry = [&](const HttpResult&) {
    http.startGet(get("https://example.test/retry"), retry);
  };
  http.startGet(get("https://example.test/retry"), retry);
  const std::size_t delivered = http.deliverPending();
  EXPECT_GT(delivered, 100u);
  EXPECT_EQ(http.requestCount(), delivered + 1);
}

TEST(ScriptedHttpClientTest, FetchAnswersOnlyConfiguredUrls) {
  ScriptedHttpClient http;
  http.setFetchResult("https://example.test/config", std::string("{\"a\":1}"));
  http.setFetchResult("https://example.test/broken", std::nullopt);
  EXPECT_EQ(http.fetch("https://example.test/config"), std::optional<std::string>("{\"a\":1}"));
  EXPECT_EQ(http.fetch("https://example.test/broken"), std::nullopt);
  EXPECT_EQ(http.fetch("https://example.test/other"), std::nullopt);
  EXPECT_EQ(http.fetchedUrls().size(), 3u);
  EXPECT_EQ(http.requestCount(), 0u);
}

}  // namespace
}  // namespace zelvo::testing
