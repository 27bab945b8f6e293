// The scripted client answers from its queue, in order, and fails loudly on a request nobody
// scripted, so that a test cannot pass on an answer it never chose.
#include <gtest/gtest.h>

#include <variant>
#include <vector>

#include "zelvo/testing/testing_platform.h"

namespace zelvo::testing {
namespace {

using Answer = ScriptedHttpClient::Answer;

TEST(ScriptedHttpClientTest, AnswersInQueueOrderThenFailsLoudly) {
  ScriptedHttpClient http(ScriptedHttpClient::Delivery::kDeferred);
  std::vector<HttpResult> results;
  http.enqueueStatuses({204});
  http.enqueue(Answer::never());
  http.enqueue(Answer::error());
  for (int i = 0; i < 4; ++i) {
    http.startGet({"https://example.test/" + std::to_string(i), {{"User-Agent", "ua"}}, 7.5, true},
                  [&](const HttpResult& r) { results.push_back(r); });
  }
  EXPECT_TRUE(results.empty());
  EXPECT_EQ(http.deliverPending(), 3u);  // the never-answered one is dropped
  ASSERT_EQ(results.size(), 3u);
  EXPECT_EQ(std::get<HttpResponse>(results[0]).statusCode, 204);
  EXPECT_EQ(std::get<HttpError>(results[1]).failingUrl, "https://example.test/2");
  EXPECT_NE(std::get<HttpError>(results[2]).description.find("unscripted request"), std::string::npos);
  EXPECT_EQ(http.unscriptedCount(), 1u);
  EXPECT_EQ(http.requests().at(3).header("user-agent"), "ua");
}

}  // namespace
}  // namespace zelvo::testing
