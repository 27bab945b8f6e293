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

struct OversizedRequest {
  const char* what;
  std::string request;  // sent whole after a good request on the same connection
  int status;
};

// Beast holds a field in at most 65,533 bytes and throws past that: each of these once
// ended the whole process. Each gets its status (the client reads it whole), and the server
// answers the next client.
TEST(CollectorAbuseTest, OversizedHeadsAndTrailersGetTheirStatusAndTheServerLivesOn) {
  const tools::TempDirectory directory;
  const CollectorServer server(settingsIn(directory), nullptr);
  const std::string get = std::string("GET ") + kConfigPath + " HTTP/1.1\r\nHost: localhost\r\n";
  const std::vector<OversizedRequest> cases = {
      {"a 64 KiB field", get + "X-Big: " + std::string(64 * 1024, 'b') + "\r\n\r\n", 431},
      {"a 65,534-byte user agent", get + "User-Agent: " + std::string(65534, 'u') + "\r\n\r\n", 431},
      {"a 70,000-byte host", "GET / HTTP/1.1\r\nHost: " + std::string(70000, 'h') + "\r\n\r\n", 431},
      {"a 65,534-byte field name", get + std::string(65534, 'n') + ": 1\r\n\r\n", 431},
      {"a 1 MiB head", get + "X-Filler: " + std::string(1024 * 1024, 'f') + "\r\n\r\n", 431},
      {"a 70,000-byte trailer field",
       "GET /ping HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n1\r\nx\r\n0\r\nX-T: " +
           std::string(70000, 't') + "\r\n\r\n",
       431},
      {"a 100 KiB target", "GET /ping?" + std::string(100 * 1024, 'a') + " HTTP/1.1\r\nHost: a\r\n\r\n", 414},
  };
  for (const OversizedRequest& oversized : cases) {
    TestClient client(server.port());
    ASSERT_TRUE(client.handshake()) << oversized.what;
    EXPECT_EQ(client.get(kConfigPath), 200) << oversized.what;
    EXPECT_TRUE(client.send(oversized.request)) << oversized.what;
    EXPECT_EQ(client.readAnswer(), oversized.status) << oversized.what;
    TestClient next(server.port());
    ASSERT_TRUE(next.handshake()) << oversized.what;
    EXPECT_EQ(next.get(kConfigPath), 200) << "after " << oversized.what;
  }
}

// The download of every record is made piece by piece as the client reads, not copied whole
// for each client that asks.
TEST(CollectorAbuseTest, RecordsDownloadIsSentInPieces) {
  const tools::TempDirectory directory;
  const CollectorServer server(settingsIn(directory), nullptr);
  TestClient pinger(server.port());
  ASSERT_TRUE(pinger.handshake());
  constexpr int kRequests = 40;
  for (int i = 0; i < kRequests; ++i) ASSERT_EQ(pinger.get("/ping?q=" + std::string(8000, 'q') + "&_"), 200);

  TestClient reader(server.port());
  ASSERT_TRUE(reader.handshake());
  ASSERT_TRUE(reader.send("GET /records.jsonl HTTP/1.1\r\nHost: localhost\r\n\r\n"));
  const std::string head = reader.readUntil("\r\n\r\n");
  EXPECT_NE(head.find("HTTP/1.1 200"), std::string::npos) << head;
  EXPECT_NE(head.find("Transfer-Encoding: chunked"), std::string::npos) << head;
  const std::string body = reader.readUntil("\r\n0\r\n\r\n");
  const auto count = [&](std::string_view text) {
    std::size_t found = 0;
    for (std::size_t at = body.find(text); at != std::string::npos; at = body.find(text, at + 1)) ++found;
    return found;
  };
  EXPECT_EQ(count("\"sequence\":"), std::size_t{kRequests});
  EXPECT_GE(count("\r\n"), 6u) << "the records' 320 kB in one piece";
  EXPECT_EQ(reader.get(kConfigPath), 200);  // kept alive
}

TEST(CollectorAbuseTest, AnswersPastItsLimitsWith503) {
  const tools::TempDirectory directory;
  CollectorSettings settings = settingsIn(directory);
  settings.limits.maxConnections = 3;
  settings.limits.requestsPerSecond = 10;
  const CollectorServer server(settings, nullptr);

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
