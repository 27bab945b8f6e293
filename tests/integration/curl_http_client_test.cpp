#include "zelvo/linux/curl_http_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "integration/local_https_server.h"

namespace zelvo::integration {
namespace {

using linux_platform::CurlHttpClient;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using ::testing::HasSubstr;

constexpr char kPingHost[] = "ping.zelvo-analytics.net";
constexpr milliseconds kWaitLimit{5000};

CurlHttpClient::Options optionsFor(const LocalHttpsServer& server) {
  CurlHttpClient::Options options;
  options.caFile = server.caFile();
  options.connectTo = {server.connectTo(kPingHost)};
  return options;
}

HttpRequest pingRequest(const std::string& url) {
  HttpRequest request;
  request.url = url;
  request.timeoutSeconds = 5.0;
  return request;
}

// Runs one request through startGet and waits (bounded) for its completion.
HttpResult get(HttpClient& client, HttpRequest request) {
  auto promise = std::make_shared<std::promise<HttpResult>>();
  std::future<HttpResult> future = promise->get_future();
  client.startGet(std::move(request), [promise](const HttpResult& result) {
    promise->set_value(result);
  });
  if (future.wait_for(kWaitLimit) != std::future_status::ready) {
    return HttpError{"test: no completion", ""};
  }
  return future.get();
}

int statusOf(const HttpResult& result) {
  const auto* response = std::get_if<HttpResponse>(&result);
  return response != nullptr ? response->statusCode : -1;
}

std::string errorOf(const HttpResult& result) {
  const auto* error = std::get_if<HttpError>(&result);
  return error != nullptr ? error->description : "";
}

class CurlHttpClientTest : public ::testing::Test {
 protected:
  LocalHttpsServer server{{kPingHost}};
  std::string pingUrl = server.url(kPingHost, "/ping?h=a%20b&x=1&_");
};

TEST_F(CurlHttpClientTest, RequestArrivesAsSentUnderTheRealHostName) {
  CurlHttpClient client(optionsFor(server));
  HttpRequest request = pingRequest(pingUrl);
  request.headers = {{"User-Agent", "ZelvoTest/1009 (Linux; x86 box)"}};
  request.ignoreCaches = true;

  const HttpResult result = get(client, request);
  ASSERT_EQ(statusOf(result), 200) << errorOf(result);
  EXPECT_EQ(std::get<HttpResponse>(result).url, pingUrl);

  request.ignoreCaches = false;
  ASSERT_EQ(statusOf(get(client, request)), 200);

  const std::vector<RecordedRequest> seen = server.requests();
  ASSERT_EQ(seen.size(), 2u);
  const RecordedRequest& first = seen[0];
  EXPECT_EQ(first.method, "GET");
  EXPECT_EQ(first.target, "/ping?h=a%20b&x=1&_");
  EXPECT_EQ(first.path, "/ping");
  EXPECT_EQ(first.query, "h=a%20b&x=1&_");
  EXPECT_EQ(first.headers.find("User-Agent")->second, "ZelvoTest/1009 (Linux; x86 box)");
  EXPECT_EQ(first.headers.find("Host")->second,
            std::string(kPingHost) + ":" + std::to_string(server.port()));
  EXPECT_EQ(first.headers.find("Cache-Control")->second, "no-cache");
  EXPECT_EQ(first.headers.find("Pragma")->second, "no-cache");
  // Nothing beyond the request's own headers and curl's standard ones.
  std::set<std::string> names;
  for (const auto& header : first.headers) names.insert(header.first);
  EXPECT_EQ(names, (std::set<std::string>{"Accept", "Cache-Control", "Host", "Pragma",
                                          "User-Agent"}));

  EXPECT_EQ(seen[1].headers.count("Cache-Control"), 0u);
  EXPECT_EQ(seen[1].headers.count("Pragma"), 0u);
}

TEST_F(CurlHttpClientTest, EveryStatusComesBackAsAResponse) {
  CurlHttpClient client(optionsFor(server));
  server.script({{200}, {202}, {500}, {503}, {404}});
  std::vector<int> statuses;
  for (int i = 0; i < 5; ++i) statuses.push_back(statusOf(get(client, pingRequest(pingUrl))));
  EXPECT_EQ(statuses, (std::vector<int>{200, 202, 500, 503, 404}));
}

TEST_F(CurlHttpClientTest, ServerThatNeverAnswersTimesOut) {
  CurlHttpClient client(optionsFor(server));
  server.script({{.hang = true}});
  HttpRequest request = pingRequest(pingUrl);
  request.timeoutSeconds = 1.0;

  const auto started = steady_clock::now();
  const HttpResult result = get(client, request);
  const auto elapsed = steady_clock::now() - started;

  ASSERT_TRUE(std::holds_alternative<HttpError>(result));
  EXPECT_THAT(errorOf(result), HasSubstr("curl error 28"));
  EXPECT_EQ(std::get<HttpError>(result).failingUrl, pingUrl);
  EXPECT_GE(elapsed, milliseconds(900));
  EXPECT_LT(elapsed, milliseconds(3000));
}

TEST_F(CurlHttpClientTest, CertificateOfAnUntrustedAuthorityIsRefused) {
  TestCertificateAuthority stranger;
  CurlHttpClient::Options options = optionsFor(server);
  options.caFile = stranger.caFile();
  CurlHttpClient client(options);

  const HttpResult result = get(client, pingRequest(pingUrl));
  EXPECT_THAT(errorOf(result), HasSubstr("curl error 60"));
  EXPECT_TRUE(server.requests().empty());
}

TEST_F(CurlHttpClientTest, CertificateForAnotherHostIsRefused) {
  CurlHttpClient::Options options = optionsFor(server);
  options.connectTo = {server.connectTo("pong.example.org")};
  CurlHttpClient client(options);

  const HttpResult result = get(client, pingRequest(server.url("pong.example.org", "/ping?x")));
  EXPECT_THAT(errorOf(result), HasSubstr("curl error 60"));
  EXPECT_TRUE(server.requests().empty());
}

TEST_F(CurlHttpClientTest, RequestsOutsideHttpsAreRefusedWithAnError) {
  CurlHttpClient client(optionsFor(server));
  const std::string plain = "http://127.0.0.1:" + std::to_string(server.port()) + "/ping?x=1";
  const HttpResult refused = get(client, pingRequest(plain));
  EXPECT_THAT(errorOf(refused), HasSubstr("curl error 1:"));
  EXPECT_EQ(std::get<HttpError>(refused).failingUrl, plain);

  for (const std::string& bad : {std::string("not a url"), std::string("https://"),
                                 std::string("https://x\0y/", 12), std::string()}) {
    EXPECT_TRUE(std::holds_alternative<HttpError>(get(client, pingRequest(bad)))) << bad;
  }

  HttpRequest injected = pingRequest(pingUrl);
  injected.headers = {{"User-Agent", "x\r\nX-Injected: 1"}};
  EXPECT_TRUE(std::holds_alternative<HttpError>(get(client, injected)));

  EXPECT_TRUE(server.requests().empty());
}

TEST_F(CurlHttpClientTest, CompletionMayStartTheNextRequest) {
  CurlHttpClient client(optionsFor(server));
  server.script({{500}, {200}});
  std::promise<int> resent;
  client.startGet(pingRequest(pingUrl), [&](const HttpResult& first) {
    EXPECT_EQ(statusOf(first), 500);
    client.startGet(pingRequest(pingUrl),
                    [&](const HttpResult& second) { resent.set_value(statusOf(second)); });
  });
  std::future<int> second = resent.get_future();
  ASSERT_EQ(second.wait_for(kWaitLimit), std::future_status::ready);
  EXPECT_EQ(second.get(), 200);
  EXPECT_EQ(server.requests().size(), 2u);
}

TEST_F(CurlHttpClientTest, DestructorCancelsRequestsInFlightPromptly) {
  server.script({{.hang = true}});
  std::vector<std::string> outcomes;  // written on the worker, read after it has stopped
  auto client = std::make_unique<CurlHttpClient>(optionsFor(server));
  HttpClient* const shared = client.get();  // as the ping object holds it
  HttpRequest request = pingRequest(pingUrl);
  request.timeoutSeconds = 30.0;
  // The cancelled request resends, as a ping would; the resend is cancelled as well.
  shared->startGet(request, [&](const HttpResult& result) {
    outcomes.push_back(errorOf(result));
    shared->startGet(request, [&](const HttpResult& again) {
      outcomes.push_back(errorOf(again));
    });
  });
  ASSERT_TRUE(server.waitForRequests(1, kWaitLimit));

  const auto started = steady_clock::now();
  client.reset();
  EXPECT_LT(steady_clock::now() - started, milliseconds(1000));
  EXPECT_EQ(outcomes, (std::vector<std::string>{"cancelled", "cancelled"}));
}

TEST_F(CurlHttpClientTest, ClientMayBeDestroyedFromItsOwnCompletion) {
  auto client = std::make_unique<CurlHttpClient>(optionsFor(server));
  std::promise<int> destroyed;
  client->startGet(pingRequest(pingUrl), [&](const HttpResult& result) {
    client.reset();
    destroyed.set_value(statusOf(result));
  });
  std::future<int> status = destroyed.get_future();
  ASSERT_EQ(status.wait_for(kWaitLimit), std::future_status::ready);
  EXPECT_EQ(status.get(), 200);
}

TEST_F(CurlHttpClientTest, FetchReturnsOnlyTheBodyOfASuccessWithinTheCap) {
  const std::string config = R"({"engagement_window": 8, "x": 1})";
  server.serve("/data/config.json", config);
  server.script({{404}, {204}});
  CurlHttpClient::Options options = optionsFor(server);
  options.maxBodyBytes = config.size();
  CurlHttpClient client(options);

  EXPECT_EQ(client.fetch(server.url(kPingHost, "/data/config.json")), config);
  EXPECT_EQ(client.fetch(server.url(kPingHost, "/missing")), std::nullopt);
  EXPECT_EQ(client.fetch(server.url(kPingHost, "/empty")), "");

  options.maxBodyBytes = config.size() - 1;
  CurlHttpClient strict(options);
  EXPECT_EQ(strict.fetch(server.url(kPingHost, "/data/config.json")), std::nullopt);
  EXPECT_EQ(strict.fetch("http://127.0.0.1:" + std::to_string(server.port()) + "/data/config.json"),
            std::nullopt);
}

// The server drops the connection while curl is still writing a request too big for it;
// with SIGPIPE at its default action, a write that raised it would end this process.
TEST_F(CurlHttpClientTest, PeerClosingMidRequestDoesNotRaiseSigpipe) {
  struct sigaction previous {};
  struct sigaction byDefault {};
  byDefault.sa_handler = SIG_DFL;
  sigemptyset(&byDefault.sa_mask);
  ASSERT_EQ(sigaction(SIGPIPE, &byDefault, &previous), 0);

  CurlHttpClient client(optionsFor(server));
  HttpRequest request = pingRequest(pingUrl);
  request.headers = {{"X-Padding", std::string(900 * 1024, 'p')}};
  const HttpResult result = get(client, request);
  EXPECT_NE(statusOf(result), 200);
  EXPECT_NE(errorOf(result), "test: no completion");

  sigaction(SIGPIPE, &previous, nullptr);
}

}  // namespace
}  // namespace zelvo::integration
