// Hostile and heavy clients of the collector on 127.0.0.1, each bounded in count and time.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "collector/collector_server.h"
#include "collector_test_client.h"
#include "tls_support/temp_directory.h"

namespace zelvo::collector {
namespace {

using namespace std::chrono_literals;

constexpr const char* kConfigPath = "/data/config.json";

CollectorSettings settingsIn(const tools::TempDirectory& directory) {
  CollectorSettings settings;
  settings.caOut = directory.file("ca.pem");
  settings.maxRequests = 100000;
  return settings;
}

TEST(CollectorAbuseTest, KeepsAnsweringOthersWhileClientsMisbehave) {
  const tools::TempDirectory directory;
  CollectorSettings settings = settingsIn(directory);
  settings.limits.requestDeadline = 2s;
  const CollectorServer server(settings, nullptr);
  const int port = server.port();

  // Held open while the others are served: slow partial requests, plain text where TLS is
  // due, a client gone mid-request, and a real ClientHello dripped a byte every 100 ms.
  std::vector<std::unique_ptr<TestClient>> slow;
  for (int i = 0; i < 10; ++i) {
    slow.push_back(std::make_unique<TestClient>(port));
    ASSERT_TRUE(slow.back()->handshake());
    ASSERT_TRUE(slow.back()->send("GET /ping?h=news HTTP/1.1\r\nHo"));
  }
  TestClient garbage(port);
  ASSERT_TRUE(garbage.send("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n"));
  {
    TestClient quitter(port);
    ASSERT_TRUE(quitter.handshake());
    ASSERT_TRUE(quitter.send("GET /ping?h=ne"));
  }
  const std::string hello = clientHello();
  TestClient dripper(port);
  std::atomic<bool> dripperCut{false};
  std::thread drip([&] {
    for (std::size_t i = 0; i < std::min<std::size_t>(hello.size(), 60) && !dripperCut; ++i) {
      dripperCut = !dripper.send(std::string_view(hello).substr(i, 1));
      std::this_thread::sleep_for(100ms);
    }
  });

  const auto start = std::chrono::steady_clock::now();
  TestClient good(port);
  ASSERT_TRUE(good.handshake());
  EXPECT_EQ(good.get(kConfigPath), 200);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
  EXPECT_EQ(good.get("/ping?p=" + std::string(10000, 'q') + "&_"), 200);  // kept alive, long query

  TestClient huge(port);
  ASSERT_TRUE(huge.handshake());
  EXPECT_EQ(huge.get(kConfigPath, "X-Filler: " + std::string(1024 * 1024, 'f') + "\r\n"), 431);

  std::vector<std::future<int>> crowd;
  for (int i = 0; i < 200; ++i) {
    crowd.push_back(std::async(std::launch::async, [port] {
      TestClient client(port);
      return client.handshake() ? client.get(kConfigPath) : -1;
    }));
  }
  int answered = 0;
  for (auto& one : crowd) answered += one.get() == 200;
  EXPECT_EQ(answered, 200);

  drip.join();
  EXPECT_TRUE(dripperCut) << "a dripped handshake outlived the deadline";
  EXPECT_TRUE(slow.front()->closedByServer());
  EXPECT_TRUE(garbage.closedByServer());
  TestClient after(port);
  ASSERT_TRUE(after.handshake());
  EXPECT_EQ(after.get(kConfigPath), 200);
}

TEST(CollectorAbuseTest, AnswersPastItsLimitsWith414And503) {
  const tools::TempDirectory directory;
  CollectorSettings settings = settingsIn(directory);
  settings.limits.maxConnections = 3;
  settings.limits.requestsPerSecond = 10;
  const CollectorServer server(settings, nullptr);

  TestClient longTarget(server.port());
  ASSERT_TRUE(longTarget.handshake());
  EXPECT_EQ(longTarget.get("/ping?" + std::string(100 * 1024, 'a')), 414);

  std::vector<std::unique_ptr<TestClient>> held;
  for (int i = 0; i < 3; ++i) {
    held.push_back(std::make_unique<TestClient>(server.port()));
    ASSERT_TRUE(held.back()->handshake());
  }
  TestClient extra(server.port());
  ASSERT_TRUE(extra.handshake());
  EXPECT_EQ(extra.get(kConfigPath), 503);
  held.clear();

  // Ten at once, ten a second: fifty in a row on one connection meet the limit.
  TestClient eager(server.port());
  ASSERT_TRUE(eager.handshake());
  int status = 200;
  for (int i = 0; i < 50 && status == 200; ++i) status = eager.get(kConfigPath);
  EXPECT_EQ(status, 503);
}

}  // namespace
}  // namespace zelvo::collector
