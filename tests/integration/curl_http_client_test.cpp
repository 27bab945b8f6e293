#include "zelvo/linux/curl_http_client.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "integration/bounded_wait.h"
#include "integration/local_https_server.h"

namespace zelvo::integration {
namespace {

using linux_platform::CurlHttpClient;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr char kPingHost[] = "ping.zelvo-analytics.net";

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
  // Nothing beyond the request's own headers and curl's standard ones.
  EXPECT_EQ((std::map<std::string, std::string>(first.headers.begin(), first.headers.end())),
            (std::map<std::string, std::string>{{"Accept", "*/*"},
                                                {"Cache-Control", "no-cache"},
                                                {"Host", std::string(kPingHost) + ":" + std::to_string(server.port())},
                                                {"Pragma", "no-cache"},
                                                {"User-Agent", "ZelvoTest/1009 (Linux; x86 box)"}}));
  EXPECT_EQ(seen[1].headers.count("Cache-Control"), 0u);
  EXPECT_EQ(seen[1].headers.count("Pragma"), 0u);
}

// A completion may start the next request (as a resend does), and the last may destroy the
// client.
TEST_F(CurlHttpClientTest, CompletionMayStartTheNextRequestOrDestroyTheClient) {
  auto client = std::make_unique<CurlHttpClient>(optionsFor(server));
  server.script({{500}, {200}});
  std::promise<int> destroyed;
  client->startGet(pingRequest(pingUrl), [&](const HttpResult& first) {
    EXPECT_EQ(statusOf(first), 500);
    client->startGet(pingRequest(pingUrl), [&](const HttpResult& second) {
      client.reset();
      destroyed.set_value(statusOf(second));
    });
  });
  std::future<int> second = destroyed.get_future();
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

// A server on 127.0.0.1 that behaves as no good one would, one connection after another:
// over TLS (a certificate for kPingHost) it reads the request head, over plain TCP whatever
// comes first; then it answers the connection's reply, if any, and closes it. A connection
// marked so stays open until the test asks, then is reset (RST).
class RawServer {
 public:
  struct Connection {
    bool tls = true;
    std::string reply;
    bool resetWhenAsked = false;
  };

  RawServer(const TestCertificateAuthority& authority, std::vector<Connection> connections)
      : identity_(authority.issueServerCertificate({kPingHost})), context_(SSL_CTX_new(TLS_server_method())) {
    SSL_CTX_use_certificate(context_, identity_.certificate.get());
    SSL_CTX_use_PrivateKey(context_, identity_.key.get());
    listener_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(listener_, 2) != 0 ||
        getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      throw std::runtime_error("cannot listen on 127.0.0.1");
    }
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this, connections = std::move(connections)] {
      for (const Connection& connection : connections) serve(connection);
    });
  }
  ~RawServer() {
    std::unique_lock lock(mutex_);
    resetAsked_ = true;
    changed_.notify_all();
    lock.unlock();
    thread_.join();
    close(listener_);
    SSL_CTX_free(context_);
  }
  std::string connectTo() const { return std::string(kPingHost) + ":" + std::to_string(port_) + ":127.0.0.1:" + std::to_string(port_); }
  std::string url() const { return std::string("https://") + kPingHost + ":" + std::to_string(port_) + "/ping?x=1"; }
  // Resets the connection marked so; whether it was within the bounded wait.
  bool resetFirst() {
    std::unique_lock lock(mutex_);
    resetAsked_ = true;
    changed_.notify_all();
    return changed_.wait_for(lock, kWaitLimit, [this] { return firstReset_; });
  }
  // Every byte read so far, decrypted.
  std::string received() {
    std::lock_guard lock(mutex_);
    return received_;
  }

 private:
  void serve(const Connection& behaviour) {
    pollfd waiting{listener_, POLLIN, 0};
    if (poll(&waiting, 1, static_cast<int>(kWaitLimit.count())) != 1) return;
    const int connection = accept(listener_, nullptr, nullptr);
    if (connection < 0) return;
    const timeval limit{5, 0};
    setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    SSL* tls = behaviour.tls ? SSL_new(context_) : nullptr;
    std::string head;
    char buffer[4096];
    if (!tls) {
      const ssize_t got = recv(connection, buffer, sizeof buffer, 0);
      if (got > 0) head.assign(buffer, static_cast<size_t>(got));
      record(head);
      send(connection, behaviour.reply.data(), behaviour.reply.size(), MSG_NOSIGNAL);
    } else if (SSL_set_fd(tls, connection) == 1 && SSL_accept(tls) == 1) {
      for (int got; head.find("\r\n\r\n") == std::string::npos && (got = SSL_read(tls, buffer, sizeof buffer)) > 0;) {
        head.append(buffer, static_cast<size_t>(got));
      }
      record(head);
      if (!behaviour.reply.empty()) SSL_write(tls, behaviour.reply.data(), static_cast<int>(behaviour.reply.size()));
    }
    std::unique_lock lock(mutex_);
    if (behaviour.resetWhenAsked) {
      changed_.wait_for(lock, kWaitLimit, [this] { return resetAsked_; });
      const linger reset{1, 0};
      setsockopt(connection, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    }
    close(connection);
    SSL_free(tls);
    firstReset_ = firstReset_ || behaviour.resetWhenAsked;
    changed_.notify_all();
  }

  // Before the reply goes out: a client may hold its answer (and the test count what was read)
  // while a long reply is still being written.
  void record(const std::string& head) {
    std::lock_guard lock(mutex_);
    received_ += head;
  }

  KeyAndCertificate identity_;
  SSL_CTX* context_;
  int listener_ = -1;
  int port_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::string received_;
  bool resetAsked_ = false;
  bool firstReset_ = false;
  std::thread thread_;
};

constexpr char kOk[] = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";

// --- Faults of the peer. Each row sends requests, with SIGPIPE at its default action, to a
// local server that misbehaves one way (the HTTPS server's script, or a raw server's
// connections), reached under a twist of the URL or the trust. The outcome line says how each
// request ended ("status N", or the curl error and its kind, "xN" for N alike) and how many
// requests the server read: none from a client that does not trust it or does not speak TLS.

enum class Twist { kNone, kStrangerCa, kOtherName, kClosedPort, kPlainHttp, kMalformed };

struct PeerFault {
  const char* name;
  std::vector<Reply> script;
  std::vector<RawServer::Connection> raw;  // when not empty, a raw server instead
  Twist twist;
  const char* outcome;
};

std::string describe(const HttpResult& result) {
  if (const auto* response = std::get_if<HttpResponse>(&result)) return "status " + std::to_string(response->statusCode);
  static const char* const kKinds[] = {"connection", "tls", "timeout", "other"};
  const auto& error = std::get<HttpError>(result);
  return error.description.substr(0, error.description.find(':')) + " " + kKinds[static_cast<int>(error.kind)];
}

std::string outcomeOf(const PeerFault& row) {
  TestCertificateAuthority authority;
  LocalHttpsServer server{{kPingHost}};
  server.script(row.script);
  RawServer raw(authority, row.raw);
  CurlHttpClient::Options options = optionsFor(server);
  std::string url = server.url(kPingHost, "/ping?x");
  if (!row.raw.empty()) {
    options = {.caFile = authority.caFile(), .connectTo = {raw.connectTo()}};
    url = raw.url();
  }
  if (row.twist == Twist::kStrangerCa) options.caFile = authority.caFile();
  if (row.twist == Twist::kOtherName) options.connectTo = {server.connectTo("pong.example.org")};
  if (row.twist == Twist::kOtherName) url = server.url("pong.example.org", "/ping?x");
  if (row.twist == Twist::kClosedPort) url = "https://127.0.0.1:" + std::to_string(LocalHttpsServer().port()) + "/x";
  if (row.twist == Twist::kPlainHttp) url = "http://127.0.0.1:" + std::to_string(server.port()) + "/ping?x";
  CurlHttpClient client(options);
  HttpRequest request = pingRequest(url);
  request.timeoutSeconds = 1.0;
  std::vector<HttpRequest> requests(std::max({row.script.size(), row.raw.size(), size_t{1}}), request);
  if (row.twist == Twist::kMalformed) {
    requests = {pingRequest("not a url"), pingRequest("https://"), pingRequest(std::string("https://x\0y/", 12)),
                pingRequest(""), request};
    requests.back().headers = {{"User-Agent", "x\r\nX-Injected: 1"}};
  }
  std::vector<std::string> seen;
  for (size_t i = 0; i < requests.size(); ++i) {
    seen.push_back(describe(get(client, requests[i])));
    if (i < row.raw.size() && row.raw[i].resetWhenAsked) {
      if (!raw.resetFirst()) return "the raw server did not reset";
    }
  }
  std::string outcome;
  for (size_t i = 0, alike = 1; i < seen.size(); i += alike) {
    for (alike = 1; i + alike < seen.size() && seen[i + alike] == seen[i];) ++alike;
    outcome += seen[i] + (alike > 1 ? " x" + std::to_string(alike) : "") + ", ";
  }
  size_t read = server.requests().size();
  for (size_t at = 0; (at = raw.received().find("GET /ping", at)) != std::string::npos; ++at) ++read;
  return outcome + "read " + std::to_string(read);
}

const PeerFault kPeerFaults[] = {
    {"StallPastTheTimeout", {{.hang = true}}, {}, Twist::kNone, "curl error 28 timeout, read 1"},
    {"CloseWithoutReply", {}, {{}}, Twist::kNone, "curl error 52 connection, read 1"},
    {"RefusedPort", {}, {}, Twist::kClosedPort, "curl error 7 connection, read 0"},
    {"UntrustedCertificate", {}, {}, Twist::kStrangerCa, "curl error 60 tls, read 0"},
    {"CertificateForAnotherName", {}, {}, Twist::kOtherName, "curl error 60 tls, read 0"},
    {"PlainTcpWhereTlsIsExpected", {}, {{.tls = false, .reply = kOk}}, Twist::kNone, "curl error 35 tls, read 0"},
    {"PlainHttpUrl", {}, {}, Twist::kPlainHttp, "curl error 1 other, read 0"},
    // Refused before anything is sent: URLs curl cannot read, and a header that would add lines.
    {"MalformedRequest", {}, {}, Twist::kMalformed,
     "curl error 3 other x2, malformed URL other, curl error 3 other, header with a line break other, read 0"},
    // Every status is an answer, the caller's to judge, a flood of them answered one by one.
    {"StatusesAndA503Flood", {{200}, {202}, {500}, {404}, {503}, {503}, {503}, {503}, {503}, {503}, {503}, {503}}, {},
     Twist::kNone, "status 200, status 202, status 500, status 404, status 503 x8, read 12"},
    // Curl finds the reset connection dead when it next reuses it and says goodbye on it before
    // dialling anew; that write fails with EPIPE, and a SIGPIPE raised by it would end the process.
    // A discarded body is not the answer: one that never ends still leaves its status.
    {"EndlessBodyAfterA200", {}, {{.reply = std::string("HTTP/1.1 200 OK\r\nContent-Length: 100000000\r\n\r\n") + std::string(2 << 20, 'x')}},
     Twist::kNone, "status 200, read 1"},
    {"ResetConnectionInTheCache", {}, {{.reply = kOk, .resetWhenAsked = true}, {.reply = kOk}}, Twist::kNone,
     "status 200 x2, read 2"},
};

void PrintTo(const PeerFault& row, std::ostream* out) { *out << row.name; }

class PeerFaultTest : public ::testing::TestWithParam<PeerFault> {};

TEST_P(PeerFaultTest, EndsInItsState) {
  struct sigaction previous {};
  struct sigaction byDefault {};
  byDefault.sa_handler = SIG_DFL;
  sigemptyset(&byDefault.sa_mask);
  ASSERT_EQ(sigaction(SIGPIPE, &byDefault, &previous), 0);
  EXPECT_EQ(outcomeOf(GetParam()), GetParam().outcome);
  sigaction(SIGPIPE, &previous, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Transport, PeerFaultTest, ::testing::ValuesIn(kPeerFaults),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace zelvo::integration
