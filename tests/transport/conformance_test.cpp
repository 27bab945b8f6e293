// One table of what every HTTP client must do, run against each: the platform's curl, Qt's,
// libsoup's and a C host's handler, each behind the Linux platform (so the endpoint and the
// library's URL check apply as a host gets them) against a local HTTPS server.
#include <QCoreApplication>
#include <gtest/gtest.h>

#include <future>
#include <string>
#include <string_view>
#include <vector>

#include "capi/http_handler.h"
#include "integration/bounded_wait.h"
#include "integration/local_https_server.h"
#include "integration/temp_directory.h"
#include "zelvo/constants.h"
#include "zelvo/gtk/soup_http_client.h"
#include "zelvo/linux/curl_http_client.h"
#include "zelvo/portable/host_platform.h"
#include "zelvo/qt/qt_http_client.h"

namespace zelvo::transport {
namespace {

using integration::LocalHttpsServer;
using integration::Reply;

// Qt's network classes want an application object; it needs no display.
void ensureQtApplication() {
  static int argc = 1;
  static char name[] = "zelvo_transport_tests", *argv[] = {name, nullptr};
  if (QCoreApplication::instance() == nullptr) new QCoreApplication(argc, argv);  // for the whole run
}

// A C host's transport: it reads each request through the C API only, as a C host does, sends
// it with a curl client of its own, and ends it once: a ping later, from that client's thread,
// the configuration inside the handler's call.
class CHandlerClient : public HttpClient {
 public:
  CHandlerClient(const std::string& caFile, std::chrono::milliseconds limit)
      : transport_(curlOptions(caFile, limit)), client_(&CHandlerClient::handle, this) {}
  void startGet(HttpRequest request, HttpCompletion done) override { client_.startGet(std::move(request), std::move(done)); }
  std::optional<std::string> fetch(const std::string& url) override { return client_.fetch(url); }

 private:
  static linux_platform::CurlHttpClient::Options curlOptions(const std::string& caFile, std::chrono::milliseconds limit) {
    linux_platform::CurlHttpClient::Options options;
    options.caFile = caFile;
    options.requestTimeout = limit;
    return options;
  }

  static void handle(void* self, zelvo_http_request* request) {
    const char* url = nullptr;
    const char* agent = nullptr;
    const char* cache = nullptr;
    ASSERT_EQ(zelvo_http_request_url(request, &url), ZELVO_OK);
    ASSERT_EQ(zelvo_http_request_header(request, "user-agent", &agent), ZELVO_OK);
    ASSERT_EQ(zelvo_http_request_header(request, "Cache-Control", &cache), ZELVO_OK);
    auto& transport = static_cast<CHandlerClient*>(self)->transport_;
    if (std::string_view(url).ends_with("/data/config.json")) {
      const std::optional<std::string> body = transport.fetch(url);
      return end(request, body ? HttpResult(HttpResponse{200, url}) : HttpError{"no body", url}, body.value_or(""));
    }
    HttpRequest outgoing{url, {}, 5.0, false};
    if (agent != nullptr) outgoing.headers.emplace_back("User-Agent", agent);
    if (cache != nullptr) outgoing.headers.emplace_back("Cache-Control", cache);
    transport.startGet(std::move(outgoing), [request](const HttpResult& result) { end(request, result, ""); });
  }

  static void end(zelvo_http_request* request, const HttpResult& result, const std::string& body) {
    static constexpr zelvo_ping_outcome kKinds[] = {ZELVO_PING_CONNECTION_FAILED, ZELVO_PING_TLS_FAILED,
                                                    ZELVO_PING_TIMED_OUT, ZELVO_PING_FAILED};
    EXPECT_EQ(zelvo_http_request_fail(request, ZELVO_PING_DELIVERED, "not a failure"), ZELVO_ERROR_INVALID_ARGUMENT);
    const auto* response = std::get_if<HttpResponse>(&result);
    const zelvo_error ended =
        response != nullptr
            ? zelvo_http_request_complete(request, response->statusCode, body.data(), body.size())
            : zelvo_http_request_fail(request, kKinds[static_cast<int>(std::get<HttpError>(result).kind)],
                                      std::get<HttpError>(result).description.c_str());
    // Refused once the platform has gone and ended the request itself; never twice.
    EXPECT_TRUE(ended == ZELVO_OK || ended == ZELVO_ERROR_REFUSED) << ended;
    EXPECT_EQ(zelvo_http_request_complete(request, 200, nullptr, 0), ZELVO_ERROR_REFUSED);
  }

  // Declared first, gone last: the platform's handle on the requests goes before the transport
  // that may still end one.
  linux_platform::CurlHttpClient transport_;
  capi::HandlerHttpClient client_;
};

// A client to test, made for a row's trust and limit of a whole request.
using Limit = std::chrono::milliseconds;
struct Client {
  const char* name;
  // Null: the platform's own curl, which reads the same options.
  std::shared_ptr<HttpClient> (*make)(const std::string& caFile, Limit limit);
};

constexpr std::size_t kMaxBody = 1024 * 1024;

const Client kClients[] = {
    {"Curl", [](const std::string&, Limit) -> std::shared_ptr<HttpClient> { return nullptr; }},
    {"Qt",
     [](const std::string& caFile, Limit limit) -> std::shared_ptr<HttpClient> {
       ensureQtApplication();
       return std::make_shared<qt::QtHttpClient>(qt::QtHttpClientOptions{caFile, limit, kMaxBody});
     }},
    {"Soup",
     [](const std::string& caFile, Limit limit) -> std::shared_ptr<HttpClient> {
       return std::make_shared<gtk::SoupHttpClient>(gtk::SoupHttpClientOptions{caFile, limit, kMaxBody});
     }},
    {"CHandler", [](const std::string& caFile, Limit limit) -> std::shared_ptr<HttpClient> { return std::make_shared<CHandlerClient>(caFile, limit); }},
};

// The ways a row bends the server or the trust.
enum class Twist { kNone, kStrangerCa, kOtherName, kRefusedPort };
// What a row asks of the client.
enum class Ask { kPings, kConfiguration, kUrlCheck, kPingWhileTheClientGoes };

struct Row {
  const char* name;
  std::vector<Reply> script;
  Twist twist;
  Ask ask;
  std::string outcome;
};

const std::string kPingUrl = std::string(kZVPingURLBase) + "h=a%20b&i=%C3%A9&u=https%3A%2F%2Fx.example%2Fp%3Fq%3D1&_";

// The status or the kind of failure, and the URL when it is not the one asked for.
std::string describe(const HttpResult& result) {
  static const char* const kKinds[] = {"connection", "tls", "timeout", "other"};
  const auto* response = std::get_if<HttpResponse>(&result);
  const std::string& url = response ? response->url : std::get<HttpError>(result).failingUrl;
  return (response ? "status " + std::to_string(response->statusCode)
                   : std::string(kKinds[static_cast<int>(std::get<HttpError>(result).kind)])) +
         (url == kPingUrl ? "" : " for " + url);
}

std::future<HttpResult> startPing(HttpClient& client) {
  HttpRequest request{.url = kPingUrl, .headers = {{"User-Agent", "ZelvoTest/1 (Linux)"}}, .timeoutSeconds = 5.0,
                      .ignoreCaches = true};
  auto promise = std::make_shared<std::promise<HttpResult>>();
  std::future<HttpResult> future = promise->get_future();
  client.startGet(std::move(request), [promise](const HttpResult& result) { promise->set_value(result); });
  return future;
}

HttpResult waitFor(std::future<HttpResult> future) {
  return future.wait_for(integration::kWaitLimit) == std::future_status::ready ? future.get() : HttpError{"no completion", ""};
}

// What the client did, and what the server read: every request that arrived, with the path,
// query and headers the library asked for.
std::string outcomeOf(const Client& client, const Row& row) {
  LocalHttpsServer server({"collector.example"}, std::chrono::seconds(30), row.twist != Twist::kOtherName);
  server.script(row.script);
  if (row.script.empty()) server.serve("/data/config.json", R"({"engagement_window": 8})");
  LocalHttpsServer stranger;
  integration::TempDirectory directory;

  const std::string caFile = row.twist == Twist::kStrangerCa ? stranger.caFile() : server.caFile();
  const Limit limit = std::chrono::seconds(row.ask == Ask::kPings && !row.script.empty() && row.script[0].hang ? 1 : 5);
  portable::HostPlatformOptions options;
  const int port = row.twist == Twist::kRefusedPort ? LocalHttpsServer().port() : server.port();
  options.endpoint = "https://localhost:" + std::to_string(port);
  options.storePath = directory.file("store.sqlite");
  options.reachability = portable::ReachabilityChoice::kAlwaysReachable;
  options.caFile = caFile;
  options.requestTimeout = limit;
  options.proxy = "";  // whatever the environment running the tests says
  options.httpClient = client.make(caFile, limit);
  std::shared_ptr<Platform> platform = makeHostPlatform(std::move(options));
  HttpClient& http = platform->httpClient();

  std::string outcome;
  switch (row.ask) {
    case Ask::kPings:
      for (size_t i = 0; i < std::max<size_t>(row.script.size(), 1); ++i) outcome += describe(waitFor(startPing(http))) + ", ";
      break;
    case Ask::kPingWhileTheClientGoes: {
      std::future<HttpResult> pending = startPing(http);
      if (!server.waitForRequests(1, integration::kWaitLimit)) return "the request did not arrive";
      platform.reset();  // the one holder: the client goes with it, and ends what it holds
      outcome = describe(waitFor(std::move(pending))) + ", ";
      break;
    }
    case Ask::kConfiguration:
      outcome = "body " + http.fetch(kZelvoConfigURL).value_or("none") + ", ";
      break;
    case Ask::kUrlCheck:
      // A ping as the library builds it passes; one that a parser would rewrite or that holds
      // raw bytes does not, whichever client sends it.
      for (const std::string& url : {kPingUrl, std::string(kZVPingURLBase) + "h=a b",
                                     std::string("https://ping.zelvo-analytics.net/a/../ping?h"),
                                     std::string("http://ping.zelvo-analytics.net/ping?h"),
                                     std::string(kZVPingURLBase) + "h=\xC3\xA9"}) {
        outcome += http.acceptsUrl(url) ? "accepted, " : "refused, ";
      }
      break;
  }
  platform.reset();
  const std::vector<integration::RecordedRequest> seen = server.requests();
  outcome += "read " + std::to_string(seen.size());
  for (const auto& request : seen) {
    outcome += " " + request.target;
    if (request.path != "/ping") continue;  // the configuration's headers are the client's
    for (const char* name : {"User-Agent", "Cache-Control"}) {
      const auto header = request.headers.find(name);
      outcome += header != request.headers.end() ? " [" + header->second + "]" : " [no " + std::string(name) + "]";
    }
  }
  return outcome;
}

const std::string kTarget = " /ping?h=a%20b&i=%C3%A9&u=https%3A%2F%2Fx.example%2Fp%3Fq%3D1&_ [ZelvoTest/1 (Linux)] [no-cache]";

const Row kRows[] = {
    // Every status is an answer, for the library to judge; the request arrives as built, on the
    // endpoint, with its headers.
    {"Statuses", {{200}, {202}, {500}, {503}}, Twist::kNone, Ask::kPings,
     "status 200, status 202, status 500, status 503, read 4" + kTarget + kTarget + kTarget + kTarget},
    {"StallPastTheTimeout", {{.hang = true}}, Twist::kNone, Ask::kPings, "timeout, read 1" + kTarget},
    // A client that goes away ends what it holds ("cancelled"), and only once.
    {"ClientGoesWhileWaiting", {{.hang = true}}, Twist::kNone, Ask::kPingWhileTheClientGoes,
     "other, read 1" + kTarget},
    {"RefusedPort", {}, Twist::kRefusedPort, Ask::kPings, "connection, read 0"},
    // Nothing reaches a server the client does not trust.
    {"UntrustedCertificate", {}, Twist::kStrangerCa, Ask::kPings, "tls, read 0"},
    {"CertificateForAnotherName", {}, Twist::kOtherName, Ask::kPings, "tls, read 0"},
    {"ConfigurationBody", {}, Twist::kNone, Ask::kConfiguration, R"(body {"engagement_window": 8}, read 1 /data/config.json)"},
    {"ConfigurationNotFound", {{404}}, Twist::kNone, Ask::kConfiguration, "body none, read 1 /data/config.json"},
    {"UrlCheck", {}, Twist::kNone, Ask::kUrlCheck, "accepted, refused, refused, refused, refused, read 0"},
};

class Conformance : public ::testing::TestWithParam<std::tuple<Client, Row>> {};

TEST_P(Conformance, EndsAsEveryClientMust) {
  const auto& [client, row] = GetParam();
  EXPECT_EQ(outcomeOf(client, row), row.outcome);
}

INSTANTIATE_TEST_SUITE_P(Clients, Conformance, ::testing::Combine(::testing::ValuesIn(kClients), ::testing::ValuesIn(kRows)),
                         [](const auto& info) {
                           return std::string(std::get<0>(info.param).name) + "_" + std::get<1>(info.param).name;
                         });

}  // namespace
}  // namespace zelvo::transport
