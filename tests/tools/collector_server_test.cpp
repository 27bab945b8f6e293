#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tls_support/temp_directory.h"
#include "collector/collector_server.h"
#include "zelvo/constants.h"
#include "zelvo/linux/curl_http_client.h"

namespace zelvo::collector {
namespace {

using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::IsEmpty;

const std::string kValidQuery =
    "h=news&d=news&g=1234&j=30&u=AbCdEfGhIjKlMnOpQr&t=AbCdEfGhIjKlMnOpQrStUvWxYz012345"
    "&p=/news/a%20b&c=0.25&y=2000&o=750&x=600&m=1200&f=3000b&R=1&W=0&I=0&E=4&e=3&Z=1&_";

// The collector on 127.0.0.1, reached by the library's curl client under the endpoints'
// real host names, trusting the authority the collector wrote out.
class CollectorServerTest : public ::testing::Test {
 protected:
  CollectorSettings settings() const {
    CollectorSettings settings;
    settings.caOut = directory.file("ca.pem");
    settings.lifetime = std::chrono::seconds(20);
    return settings;
  }

  void start(CollectorSettings settings) {
    server = std::make_unique<CollectorServer>(std::move(settings), [this](const RequestRecord& record) {
      std::lock_guard lock(mutex);
      seen.push_back(record.sequence);
    });
    linux_platform::CurlHttpClient::Options options;
    options.caFile = directory.file("ca.pem");
    const std::string port = std::to_string(server->port());
    for (const std::string& host : endpointHosts()) options.connectTo.push_back(host + ":443:127.0.0.1:" + port);
    client = std::make_unique<linux_platform::CurlHttpClient>(options);
  }

  // The status of a GET, or -1 for no answer.
  int get(const std::string& url) {
    auto answered = std::make_shared<std::promise<int>>();
    std::future<int> status = answered->get_future();
    client->startGet({url, {{"User-Agent", "collector-test"}}, 5.0, true}, [answered](const HttpResult& result) {
      const auto* response = std::get_if<HttpResponse>(&result);
      answered->set_value(response != nullptr ? response->statusCode : -1);
    });
    if (status.wait_for(std::chrono::seconds(10)) != std::future_status::ready) return -2;
    return status.get();
  }

  tools::TempDirectory directory;
  std::unique_ptr<CollectorServer> server;
  std::unique_ptr<linux_platform::CurlHttpClient> client;
  std::mutex mutex;
  std::vector<uint64_t> seen;
};

TEST_F(CollectorServerTest, ChecksPingsAnswersByThePlanAndServesTheConfiguration) {
  CollectorSettings chosen = settings();
  ASSERT_TRUE(chosen.statuses.setList("200,503"));
  chosen.configBody = "{\"engagement_window\": 7}";
  start(std::move(chosen));
  server->answerPing(3, 500);

  EXPECT_EQ(get(std::string(kZVPingURLBase) + kValidQuery), 200);
  // A second "?" in the query (as in a push referrer) reaches the checker.
  EXPECT_EQ(get(std::string(kZVPongURLBase) + "p=/a?b&_"), 503);
  EXPECT_EQ(get(std::string(kZVPingURLBase) + kValidQuery), 500);
  EXPECT_EQ(get(std::string(kZVPingURLBase) + kValidQuery), 200);
  EXPECT_EQ(client->fetch(kZelvoConfigURL), "{\"engagement_window\": 7}");
  EXPECT_EQ(get("https://ping.zelvo-analytics.net/elsewhere"), 404);

  client.reset();
  server->stop();
  const std::vector<RequestRecord> records = server->records();
  ASSERT_EQ(records.size(), 6u);
  EXPECT_EQ(server->pingCount(), 4u);
  EXPECT_EQ(records[0].host, "ping.zelvo-analytics.net");
  EXPECT_EQ(records[0].userAgent, "collector-test");
  EXPECT_EQ(records[0].query, kValidQuery);
  EXPECT_THAT(records[0].violations, IsEmpty());
  ASSERT_TRUE(records[0].ping.has_value());
  EXPECT_EQ(records[0].ping->path, "/news/a b");
  EXPECT_EQ(records[1].host, "pong.zelvo-analytics.net");
  EXPECT_EQ(records[1].query, "p=/a?b&_");
  EXPECT_THAT(records[1].violations, ::testing::Contains(Field(&Violation::key, "p")));
  EXPECT_EQ(records[2].status, 500);
  EXPECT_FALSE(records[4].ping.has_value());
  EXPECT_THAT(records[4].violations, IsEmpty());
  EXPECT_THAT(records[5].violations, ElementsAre(Field(&Violation::key, "")));
  std::lock_guard lock(mutex);
  EXPECT_THAT(seen, ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(CollectorServerTest, StopsByItselfAfterItsRequestLimitAndItsLifetime) {
  CollectorSettings limited = settings();
  limited.maxRequests = 2;
  start(std::move(limited));
  EXPECT_EQ(get(std::string(kZVPingURLBase) + kValidQuery), 200);
  EXPECT_FALSE(server->stopping());
  EXPECT_EQ(get(std::string(kZVPingURLBase) + kValidQuery), 200);
  EXPECT_TRUE(server->stopping());

  CollectorSettings brief = settings();
  brief.lifetime = std::chrono::seconds(1);
  const CollectorServer shortLived(std::move(brief), nullptr);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!shortLived.stopping() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  EXPECT_TRUE(shortLived.stopping());
}

TEST_F(CollectorServerTest, RefusesACertificateItCannotUse) {
  std::ofstream(directory.file("bad.pem")) << "not a certificate\n";
  CollectorSettings bad = settings();
  bad.caOut.reset();
  bad.certFile = directory.file("bad.pem");
  bad.keyFile = directory.file("bad.pem");
  EXPECT_THROW(CollectorServer(std::move(bad), nullptr), std::runtime_error);

  CollectorSettings unwritable = settings();
  unwritable.caOut = directory.file("missing/ca.pem");
  EXPECT_THROW(CollectorServer(std::move(unwritable), nullptr), std::runtime_error);
}

}  // namespace
}  // namespace zelvo::collector
