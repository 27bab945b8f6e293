#include "zelvo/linux/curl_http_client.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
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
  client.startGet(std::move(request),
                  [promise](const HttpResult& result) { promise->set_value(result); });
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
  EXPECT_EQ(names,
            (std::set<std::string>{"Accept", "Cache-Control", "Host", "Pragma", "User-Agent"}));

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
    shared->startGet(request, [&](const HttpResult& again) { outcomes.push_back(errorOf(again)); });
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

// Answers two TLS connections on 127.0.0.1 with 200, keeping each open. The first is reset
// (RST) once the test asks, so the client holds a dead connection in its cache.
class ResettingTlsServer {
 public:
  explicit ResettingTlsServer(const TestCertificateAuthority& authority)
      : identity_(authority.issueServerCertificate({kPingHost})),
        context_(SSL_CTX_new(TLS_server_method())) {
    SSL_CTX_use_certificate(context_, identity_.certificate.get());
    SSL_CTX_use_PrivateKey(context_, identity_.key.get());
    listener_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        listen(listener_, 2) != 0 ||
        getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      throw std::runtime_error("cannot listen on 127.0.0.1");
    }
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] {
      serveConnection(true);
      serveConnection(false);
    });
  }
  ~ResettingTlsServer() {
    resetFirst();
    thread_.join();
    close(listener_);
    SSL_CTX_free(context_);
  }
  std::string connectTo() const {
    return std::string(kPingHost) + ":" + std::to_string(port_) +
           ":127.0.0.1:" + std::to_string(port_);
  }
  std::string url() const {
    return std::string("https://") + kPingHost + ":" + std::to_string(port_) + "/ping?x=1";
  }
  void resetFirst() {
    std::lock_guard lock(mutex_);
    resetAsked_ = true;
    changed_.notify_all();
  }
  bool waitUntilFirstReset() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kWaitLimit, [this] { return firstReset_; });
  }

 private:
  void serveConnection(bool resetWhenAsked) {
    pollfd waiting{listener_, POLLIN, 0};
    if (poll(&waiting, 1, static_cast<int>(kWaitLimit.count())) != 1) return;
    const int connection = accept(listener_, nullptr, nullptr);
    if (connection < 0) return;
    const timeval limit{5, 0};
    setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    SSL* tls = SSL_new(context_);
    SSL_set_fd(tls, connection);
    std::string head;
    char buffer[4096];
    int got = 0;
    if (SSL_accept(tls) == 1) {
      while (head.find("\r\n\r\n") == std::string::npos &&
             (got = SSL_read(tls, buffer, sizeof buffer)) > 0) {
        head.append(buffer, static_cast<size_t>(got));
      }
      const std::string answer = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";
      SSL_write(tls, answer.data(), static_cast<int>(answer.size()));
    }
    std::unique_lock lock(mutex_);
    if (resetWhenAsked) changed_.wait_for(lock, kWaitLimit, [this] { return resetAsked_; });
    const linger reset{1, 0};
    if (resetWhenAsked) setsockopt(connection, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    close(connection);
    SSL_free(tls);
    if (resetWhenAsked) firstReset_ = true;
    changed_.notify_all();
  }

  KeyAndCertificate identity_;
  SSL_CTX* context_;
  int listener_ = -1;
  int port_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool resetAsked_ = false;
  bool firstReset_ = false;
  std::thread thread_;
};

// Curl finds the reset connection dead when it next reuses it and says goodbye on it before
// dialling anew; that write fails with EPIPE. With SIGPIPE at its default action, a write
// that raised it would end this process.
TEST(CurlHttpClientSignalTest, DeadConnectionInTheCacheDoesNotRaiseSigpipe) {
  struct sigaction previous {};
  struct sigaction byDefault {};
  byDefault.sa_handler = SIG_DFL;
  sigemptyset(&byDefault.sa_mask);
  ASSERT_EQ(sigaction(SIGPIPE, &byDefault, &previous), 0);

  TestCertificateAuthority authority;
  ResettingTlsServer server(authority);
  CurlHttpClient::Options options;
  options.caFile = authority.caFile();
  options.connectTo = {server.connectTo()};
  CurlHttpClient client(options);

  EXPECT_EQ(statusOf(get(client, pingRequest(server.url()))), 200);
  server.resetFirst();
  ASSERT_TRUE(server.waitUntilFirstReset());
  EXPECT_EQ(statusOf(get(client, pingRequest(server.url()))), 200);

  sigaction(SIGPIPE, &previous, nullptr);
}

}  // namespace
}  // namespace zelvo::integration
