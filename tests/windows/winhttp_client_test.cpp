// The WinHTTP client against real servers on 127.0.0.1: the Linux collector (trusted through a
// CA file, or signed by another authority), a socket that never answers, a closed port.
#include "platform/windows/winhttp_client.h"

#include <gtest/gtest.h>
#include <winsock2.h>
#include <ws2tcpip.h>

#include <chrono>
#include <fstream>
#include <future>
#include <iterator>

#include "windows/collector_environment.h"
#include "zelvo/constants.h"

namespace zelvo::windows_platform {
namespace {

using namespace std::chrono_literals;
using windows_test::trustedAuthority;
using windows_test::trustedPort;

HttpResult get(WinHttpClient& client, const std::string& url) {
  std::promise<HttpResult> answered;
  HttpRequest request;
  request.url = url;
  request.timeoutSeconds = 10;
  client.startGet(request, [&](const HttpResult& result) { answered.set_value(result); });
  auto future = answered.get_future();
  if (future.wait_for(30s) != std::future_status::ready) return HttpError{"no completion", url};
  return future.get();
}

// A socket on 127.0.0.1 that accepts connections and never answers, or a port with no
// listener at all (`listening` false).
class LocalPort {
 public:
  explicit LocalPort(bool listening) {
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
    socket_ = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address);
    int size = sizeof address;
    getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size);
    port_ = ntohs(address.sin_port);
    if (listening) {
      listen(socket_, 4);
    } else {
      closesocket(socket_);
      socket_ = INVALID_SOCKET;
    }
  }
  ~LocalPort() {
    if (socket_ != INVALID_SOCKET) closesocket(socket_);
  }
  std::string endpoint() const { return "https://127.0.0.1:" + std::to_string(port_); }

 private:
  SOCKET socket_ = INVALID_SOCKET;
  unsigned short port_ = 0;
};

class WinHttpCollectorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!trustedPort() || !trustedAuthority()) GTEST_SKIP() << "no collector: run by scripts/windows-test.sh";
  }
  WinHttpClient::Options trusting(const std::string& endpoint) const {
    WinHttpClient::Options options;
    options.endpoint = endpoint;
    options.caFile = trustedAuthority();
    return options;
  }
};

struct StatusRow {
  const char* name;
  std::string url;
  int status;
};

// The collector answers what exists, and 404 for what does not; the answer names the URL the
// library asked for, not the endpoint's.
TEST_F(WinHttpCollectorTest, AnswersCarryTheServersStatusByAddressAndByName) {
  const StatusRow rows[] = {
      {"ping", std::string(kZVPingURLBase) + "a=1", 200},
      {"configuration", kZelvoConfigURL, 200},
      {"no such path", "https://ping.zelvo-analytics.net/nothing-here", 404},
  };
  for (const char* host : {"127.0.0.1", "localhost"}) {
    WinHttpClient client(trusting(std::string("https://") + host + ":" + *trustedPort()));
    for (const StatusRow& row : rows) {
      const HttpResult result = get(client, row.url);
      const auto* response = std::get_if<HttpResponse>(&result);
      ASSERT_NE(response, nullptr) << host << " " << row.name << ": " << std::get<HttpError>(result).description;
      EXPECT_EQ(response->statusCode, row.status) << host << " " << row.name;
      EXPECT_EQ(response->url, row.url);
    }
  }
}

TEST_F(WinHttpCollectorTest, FetchKeepsTheBodyOfASuccessOnly) {
  WinHttpClient client(trusting("https://127.0.0.1:" + *trustedPort()));
  const std::optional<std::string> body = client.fetch(kZelvoConfigURL);
  ASSERT_TRUE(body.has_value());
  EXPECT_NE(body->find("engagement_window"), std::string::npos) << *body;
  EXPECT_FALSE(client.fetch("https://ping.zelvo-analytics.net/nothing-here").has_value());
}

// The library's own host, mapped onto the collector: the certificate is checked against that
// name, which the collector's certificate carries.
TEST_F(WinHttpCollectorTest, AConnectionMappingKeepsTheURLsHostForTheCertificate) {
  WinHttpClient::Options options;
  options.caFile = trustedAuthority();
  options.connectTo = {"ping.zelvo-analytics.net:443:127.0.0.1:" + *trustedPort()};
  WinHttpClient client(options);
  const HttpResult result = get(client, std::string(kZVPingURLBase) + "b=2");
  ASSERT_TRUE(std::holds_alternative<HttpResponse>(result)) << std::get<HttpError>(result).description;
  EXPECT_EQ(std::get<HttpResponse>(result).statusCode, 200);
}

// Signed by another authority: a TLS failure, and the server never sees a request.
TEST_F(WinHttpCollectorTest, AServerTheCAFileDoesNotVouchForGetsNothing) {
  if (!windows_test::untrustedPort() || !windows_test::untrustedRecords()) GTEST_SKIP() << "no second collector";
  WinHttpClient client(trusting("https://127.0.0.1:" + *windows_test::untrustedPort()));
  const HttpResult result = get(client, std::string(kZVPingURLBase) + "secret=1");
  ASSERT_TRUE(std::holds_alternative<HttpError>(result));
  EXPECT_EQ(std::get<HttpError>(result).kind, HttpError::Kind::kTls) << std::get<HttpError>(result).description;
  // Without a CA file the system's authorities are asked, and refuse it too.
  WinHttpClient::Options system;
  system.endpoint = "https://127.0.0.1:" + *windows_test::untrustedPort();
  WinHttpClient systemClient(system);
  const HttpResult systemResult = get(systemClient, std::string(kZVPingURLBase) + "secret=2");
  ASSERT_TRUE(std::holds_alternative<HttpError>(systemResult));
  EXPECT_EQ(std::get<HttpError>(systemResult).kind, HttpError::Kind::kTls);
  std::ifstream records(*windows_test::untrustedRecords());
  const std::string recorded((std::istreambuf_iterator<char>(records)), std::istreambuf_iterator<char>());
  EXPECT_EQ(recorded, "") << "the untrusted server received a request";
}

struct FailureRow {
  const char* name;
  bool listening;
  HttpError::Kind kind;
};

TEST(WinHttpClientTest, ASilentServerTimesOutAndAClosedPortRefuses) {
  const FailureRow rows[] = {
      {"silent", true, HttpError::Kind::kTimeout},
      {"closed", false, HttpError::Kind::kConnection},
  };
  for (const FailureRow& row : rows) {
    LocalPort port(row.listening);
    WinHttpClient::Options options;
    options.endpoint = port.endpoint();
    options.requestTimeout = 500ms;
    WinHttpClient client(options);
    const auto started = std::chrono::steady_clock::now();
    const HttpResult result = get(client, std::string(kZVPingURLBase) + "c=3");
    ASSERT_TRUE(std::holds_alternative<HttpError>(result)) << row.name;
    EXPECT_EQ(std::get<HttpError>(result).kind, row.kind) << row.name << ": " << std::get<HttpError>(result).description;
    EXPECT_LT(std::chrono::steady_clock::now() - started, 10s) << row.name;
  }
}

TEST(WinHttpClientTest, BadOptionsSendNothingAndSayWhy) {
  struct Row {
    const char* name;
    WinHttpClient::Options options;
  };
  Row rows[] = {{"endpoint", {}}, {"CA file", {}}, {"mapping", {}}, {"proxy", {}}};
  rows[0].options.endpoint = "http://127.0.0.1:1";
  rows[1].options.caFile = "Z:/nonexistent/ca.pem";
  rows[2].options.connectTo = {"no-port-here"};
  rows[3].options.proxy = "socks5://127.0.0.1:1080";
  for (Row& row : rows) {
    WinHttpClient client(row.options);
    EXPECT_TRUE(client.configurationError().has_value()) << row.name;
    const HttpResult result = get(client, std::string(kZVPingURLBase) + "d=4");
    ASSERT_TRUE(std::holds_alternative<HttpError>(result)) << row.name;
    EXPECT_EQ(std::get<HttpError>(result).description.rfind("not sent: ", 0), 0u) << row.name;
  }
}

// Destruction fails what is queued or in flight with "cancelled", at once.
TEST(WinHttpClientTest, DestructionCancelsTheRequestInFlight) {
  LocalPort silent(true);
  WinHttpClient::Options options;
  options.endpoint = silent.endpoint();
  auto client = std::make_unique<WinHttpClient>(options);
  std::promise<HttpResult> first, second;
  HttpRequest request;
  request.url = std::string(kZVPingURLBase) + "e=5";
  request.timeoutSeconds = 60;
  client->startGet(request, [&](const HttpResult& r) { first.set_value(r); });
  client->startGet(request, [&](const HttpResult& r) { second.set_value(r); });
  std::this_thread::sleep_for(200ms);  // the first is connected and waits for the handshake
  const auto started = std::chrono::steady_clock::now();
  client.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - started, 5s);
  for (auto* promise : {&first, &second}) {
    auto future = promise->get_future();
    ASSERT_EQ(future.wait_for(0s), std::future_status::ready);
    const HttpResult result = future.get();
    ASSERT_TRUE(std::holds_alternative<HttpError>(result));
    EXPECT_EQ(std::get<HttpError>(result).description, "cancelled");
  }
}

TEST(WinHttpClientTest, AcceptsOnlyPlainHttpsUrls) {
  WinHttpClient client;
  EXPECT_TRUE(client.acceptsUrl(std::string(kZVPingURLBase) + "a=1&b=%20"));
  for (const char* url : {"http://ping.zelvo-analytics.net/ping?a=1", "https://ping.zelvo-analytics.net/ping?a=1 2",
                          "https://user@ping.zelvo-analytics.net/", "https://6/ping"}) {
    EXPECT_FALSE(client.acceptsUrl(url)) << url;
  }
}

}  // namespace
}  // namespace zelvo::windows_platform
