// The tracker on the real Linux platform, end to end: its own loop thread as the main thread,
// the SQLite store in a temporary directory, curl with verification on, reaching a local
// HTTPS server under the endpoints' real host names.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "integration/local_https_server.h"
#include "integration/temp_directory.h"
#include "zelvo/application_events.h"
#include "zelvo/constants.h"
#include "zelvo/linux/external_run_loop.h"
#include "zelvo/linux/linux_platform.h"
#include "zelvo/testing/testing_platform.h"
#include "zelvo/testing/tracker_probes.h"
#include "zelvo/zelvo_config.h"
#include "zelvo/zv_reachability.h"
#include "zelvo/zv_tracker.h"

namespace zelvo::integration {
namespace {

using linux_platform::LinuxPlatform;
using std::chrono::milliseconds;
using zelvo::testing::CapturingLogSink;

constexpr uint32_t kAccount = 4242;
constexpr char kAppId[] = "com.example.reader";
constexpr char kModel[] = "Reader Box";
constexpr milliseconds kWaitLimit{5000};
// How long a test watches for a ping that must not come.
constexpr milliseconds kQuietPeriod{1500};

using Query = std::map<std::string, std::string>;

// "k=v" pairs of a ping's query, values as sent (undecoded). Fails the test unless the query
// ends with the bare "&_" and no key repeats.
Query parseQuery(const std::string& query) {
  Query pairs;
  std::vector<std::string> parts;
  size_t begin = 0;
  while (true) {
    const size_t end = query.find('&', begin);
    parts.push_back(query.substr(begin, end - begin));
    if (end == std::string::npos) break;
    begin = end + 1;
  }
  EXPECT_EQ(parts.back(), "_") << query;
  parts.pop_back();
  for (const std::string& part : parts) {
    const size_t equals = part.find('=');
    EXPECT_NE(equals, std::string::npos) << part;
    if (equals == std::string::npos) continue;
    EXPECT_TRUE(pairs.emplace(part.substr(0, equals), part.substr(equals + 1)).second) << part;
  }
  return pairs;
}

std::set<std::string> keysOf(const Query& query) {
  std::set<std::string> keys;
  for (const auto& [key, value] : query) keys.insert(key);
  return keys;
}

// Polls `condition` until it holds or the bounded wait runs out. For states another thread
// reaches (an answer handled on curl's thread), never for a timer.
template <typename Condition>
bool eventually(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + kWaitLimit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(milliseconds(10));
  }
  return true;
}

// One run of the host application: a Linux platform and a started tracker on it. Every call
// into the tracker goes through onMain(), on the platform's loop thread.
class App {
 public:
  App(const LocalHttpsServer& server, std::optional<std::string> storePath,
      std::shared_ptr<CapturingLogSink> log) {
    LinuxPlatform::Options options;
    options.storePath = std::move(storePath);
    options.caFile = server.caFile();
    // The library asks for the real endpoints on port 443; all of them lead to the server.
    const std::string local = ":443:127.0.0.1:" + std::to_string(server.port());
    for (const char* host : {"ping.zelvo-analytics.net", "pong.zelvo-analytics.net", "config.zelvo-analytics.net"}) {
      options.connectTo.push_back(host + local);
    }
    options.logSink = std::move(log);
    options.modelName = kModel;
    options.applicationIdentifier = kAppId;
    platform_ = std::make_shared<LinuxPlatform>(std::move(options));
    platform_->mainRunLoop().runAndWait([this] {
      tracker_ = ZVTracker::create(platform_);
      tracker_->setDebugMode(true);
      tracker_->startTrackerWithAccountID(kAccount, std::string(kAppId));
    });
  }
  ~App() {
    platform_->mainRunLoop().runAndWait([this] { tracker_.reset(); });
  }
  App(const App&) = delete;
  App& operator=(const App&) = delete;

  // Runs `task` on the main thread and returns its result.
  template <typename Task>
  auto onMain(Task task) {
    using Result = std::invoke_result_t<Task&>;
    if constexpr (std::is_void_v<Result>) {
      platform_->mainRunLoop().runAndWait(task);
    } else {
      Result result{};
      platform_->mainRunLoop().runAndWait([&] { result = task(); });
      return result;
    }
  }

  bool trackView(const std::shared_ptr<View>& view, const std::string& viewId, const std::string& title) {
    return onMain([&] { return tracker_->trackView(view, viewId, title); });
  }

  LinuxPlatform& platform() { return *platform_; }
  ZVTracker& tracker() { return *tracker_; }  // on the main thread only

 private:
  std::shared_ptr<LinuxPlatform> platform_;
  std::shared_ptr<ZVTracker> tracker_;
};

class EndToEndTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(dir_.path().empty());
    // The tracker sends nothing without a route to the internet; ask the platform the way the
    // tracker does before relying on it.
    CapturingLogSink quiet;
    LinuxPlatform::Options options;
    options.logSink = std::shared_ptr<LogSink>(&quiet, [](LogSink*) {});
    LinuxPlatform probe(options);
    auto internet = ZVReachability::reachabilityForInternetConnection(probe);
    if (!internet || internet->currentReachabilityStatus() != ZVReachability::kStatusReachable) {
      GTEST_SKIP() << "this machine has no default route, so the Linux reachability source says "
                      "the internet is unreachable and the tracker sends no ping; end-to-end tests "
                      "need a default route (any gateway; no traffic leaves 127.0.0.1)";
    }
  }

  std::unique_ptr<App> launch(std::optional<std::string> storePath) {
    return std::make_unique<App>(server_, std::move(storePath), log_);
  }

  // The query of request `index`, once it has arrived.
  Query pingQuery(size_t index) {
    EXPECT_TRUE(server_.waitForRequests(index + 1, kWaitLimit)) << "no ping #" << index;
    const std::vector<RecordedRequest> requests = server_.requests();
    if (requests.size() <= index) return {};
    EXPECT_EQ(requests[index].path, "/ping");
    return parseQuery(requests[index].query);
  }

  Query expectTrackingWorksOver(const std::string& storePath, bool keptOnDisk);

  TempDirectory dir_;
  std::string storePath_ = dir_.file("zelvo.sqlite");
  LocalHttpsServer server_{{"ping.zelvo-analytics.net", "pong.zelvo-analytics.net", "config.zelvo-analytics.net"},
                           std::chrono::seconds(60)};
  std::shared_ptr<CapturingLogSink> log_ = std::make_shared<CapturingLogSink>();
  std::shared_ptr<View> home_ = std::make_shared<SimpleView>(Size{375, 667});
  std::shared_ptr<View> article_ = std::make_shared<SimpleView>(Size{375, 667});
};

TEST_F(EndToEndTest, FirstPingOfAViewLeavesAtOnceWithUserAgentAndFullQuery) {
  auto app = launch(storePath_);
  EXPECT_TRUE(app->trackView(article_, "/news/a b", "Rain & sun?"));

  const Query q = pingQuery(0);
  const RecordedRequest request = server_.requests().at(0);
  EXPECT_EQ(request.method, "GET");
  EXPECT_TRUE(request.target.ends_with("&_")) << request.target;
  const auto agent = request.headers.find("User-Agent");
  ASSERT_NE(agent, request.headers.end());
  EXPECT_EQ(agent->second,
            "Mozilla/5.0 (Reader Box; CPU Reader Box OS 10_1_1 like Mac OS X) AppleWebKit/602.2.14 (KHTML, "
            "like Gecko) Version/10.0 Mobile/14B100 Safari/602.1/zvua/App");

  // A first ping is full; the first view has no previous session, referrer still to send.
  const std::set<std::string> expectedKeys = {"h", "d", "g", "j",  "u",  "t",  "p", "c", "y", "o", "x", "m",
                                              "f", "R", "W", "I",  "E",  "e",  "Z", "sd", "sr", "sv", "n",
                                              "i", "g0", "g1", "g2", "w", "S", "lg", "lt", "V", "r"};
  EXPECT_EQ(keysOf(q), expectedKeys);
  if (q.size() != expectedKeys.size()) return;
  EXPECT_EQ(q.at("h"), kAppId);
  EXPECT_EQ(q.at("d"), kAppId);
  EXPECT_EQ(q.at("g"), "4242");
  EXPECT_EQ(q.at("p"), "/news/a%20b");
  EXPECT_EQ(q.at("i"), "Rain%20%26%20sun%3F");
  EXPECT_EQ(q.at("u").size(), 18u);
  EXPECT_EQ(q.at("t").size(), 32u);
  EXPECT_EQ(q.at("c"), "0.00");
  EXPECT_EQ(q.at("R"), "1");  // a new view counts as reading
  EXPECT_EQ(q.at("sd"), "1");
  EXPECT_EQ(q.at("sv").size(), 32u);
  EXPECT_EQ(q.at("V"), kZelvoSDKVersion);
  EXPECT_EQ(q.at("Z"), "1");
  EXPECT_EQ(q.at("f"), "00001");  // opened today only

  // The same view again is a repeat: nothing more is sent.
  EXPECT_FALSE(app->trackView(article_, "/news/a b", "Rain & sun?"));
  EXPECT_FALSE(server_.waitForRequests(2, kQuietPeriod));
}

// Threads the process has now, the library's and everyone else's.
std::size_t threadCount() {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& task : std::filesystem::directory_iterator("/proc/self/task")) ++count;
  return count;
}

TEST_F(EndToEndTest, AddsTwoThreadsAtMostAndJoinsThemAll) {
  const std::size_t before = threadCount();
  {
    // With the host's own loop, only the I/O thread: the store's writes and a request run on it.
    std::promise<bool> answered;  // outlives the platform, whose end may still complete the request
    LinuxPlatform::Options options;
    options.storePath = storePath_;
    options.logSink = log_;
    options.mainRunLoop = std::make_shared<linux_platform::ExternalRunLoop>();
    options.caFile = server_.caFile();
    options.connectTo.push_back(server_.connectTo("ping.zelvo-analytics.net"));
    LinuxPlatform platform(std::move(options));
    platform.store()->set("k", Value(1));
    EXPECT_TRUE(platform.store()->synchronize());
    platform.httpClient().startGet(HttpRequest{server_.url("ping.zelvo-analytics.net", "/ping?a=1"), {}, 5.0, true},
                                   [&](const HttpResult& r) { answered.set_value(std::holds_alternative<HttpResponse>(r)); });
    auto outcome = answered.get_future();
    ASSERT_EQ(outcome.wait_for(kWaitLimit), std::future_status::ready);
    EXPECT_TRUE(outcome.get());
    EXPECT_LE(threadCount(), before + 1);
  }
  EXPECT_TRUE(eventually([&] { return threadCount() == before; })) << threadCount() - before << " left";
  {
    // A tracker reading and pinging on the default platform: its loop thread and the I/O thread
    // (the configuration fetch's thread ends with the fetch).
    auto app = launch(storePath_);
    app->trackView(article_, "/story", "Story");
    pingQuery(1);
    EXPECT_TRUE(eventually([&] { return threadCount() <= before + 2; })) << threadCount() - before << " added";
  }
  EXPECT_TRUE(eventually([&] { return threadCount() == before; })) << threadCount() - before << " left";
}

// A 500 is resent from curl's thread, the 503 to the resend locks the next views out.
TEST_F(EndToEndTest, ResendAndLockOutOverCurl) {
  server_.script({Reply{500}, Reply{503}});
  auto app = launch(storePath_);
  app->trackView(home_, "/", "Home");
  ASSERT_TRUE(server_.waitForRequests(2, kWaitLimit));
  EXPECT_EQ(server_.requests()[1].target, server_.requests()[0].target);
  // The answer is handled on curl's thread; the next views must come after it.
  ASSERT_TRUE(eventually([&] {
    for (const std::string& line : log_->lines()) {
      if (line.starts_with("[ZV]:Site over capacity, lock out until: ")) return true;
    }
    return false;
  }));

  // Each new view pings at once, unless locked out: these two are dropped.
  EXPECT_TRUE(app->trackView(article_, "/a", "A"));
  EXPECT_TRUE(app->trackView(home_, "/b", "B"));
  EXPECT_FALSE(server_.waitForRequests(3, kQuietPeriod));
  EXPECT_EQ(log_->count("[ZV]:Lock out mode, not sending pings"), 2u);
}

// An answer of 100,000 nested arrays (200 kB, well under the fetch cap) is not a JSON object
// the library can use: the fetching thread lives on and the window stays as it was.
TEST_F(EndToEndTest, DeeplyNestedConfigurationKeepsTheWindow) {
  auto app = launch(storePath_);
  const std::shared_ptr<ZelvoConfig> config = zelvo::testing::configurationForTesting(app->tracker());
  const auto fetch = [&](std::string body) {
    server_.serve("/data/config.json", std::move(body));
    auto stored = std::make_shared<std::promise<bool>>();
    config->updateConfigWithComplete([stored](bool ok) { stored->set_value(ok); });
    std::future<bool> outcome = stored->get_future();
    return outcome.wait_for(kWaitLimit) == std::future_status::ready ? std::optional<bool>(outcome.get()) : std::nullopt;
  };
  const auto windowAfterReturning = [&] {
    postApplicationEvent(app->platform(), ApplicationEvent::kDidBecomeActive);
    // The window applied is the one kept for the next launch.
    const std::optional<Value> kept = app->platform().store()->get(kZVEngagementWindowKey);
    return kept ? kept->unsignedIntValue() : 0u;
  };
  EXPECT_EQ(fetch(R"({"engagement_window": 9})"), true);
  EXPECT_EQ(windowAfterReturning(), 9u);
  EXPECT_EQ(fetch(std::string(100000, '[') + std::string(100000, ']')), false);
  EXPECT_EQ(windowAfterReturning(), 9u);
  EXPECT_EQ(log_->count("[ZV]:The remote configuration nests deeper than 64 levels; keeping the current one"), 1u);
}

// --- Bad input on the disk: the tracker starts, tracks, pings, and never throws. How the
// store itself recovers is the store's own test; here it is the tracker on top of it.

// Starts over `storePath`, tracks two views with a return to the foreground between them,
// then starts again and tracks one more: every ping leaves and the visit goes on. The user
// token survives the restart only when the store could keep it on disk. Returns the first
// ping's query.
Query EndToEndTest::expectTrackingWorksOver(const std::string& storePath, bool keptOnDisk) {
  Query first;
  Query second;
  {
    auto app = launch(storePath);
    EXPECT_TRUE(app->trackView(home_, "/one", "One"));
    first = pingQuery(0);
    postApplicationEvent(app->platform(), ApplicationEvent::kDidBecomeActive);
    EXPECT_TRUE(app->trackView(article_, "/two", "Two"));
    second = pingQuery(1);
  }
  auto app = launch(storePath);
  EXPECT_TRUE(app->trackView(home_, "/three", "Three"));
  const Query third = pingQuery(2);
  for (const Query* q : std::initializer_list<const Query*>{&first, &second, &third}) {
    EXPECT_TRUE(q->contains("u") && q->contains("sd") && q->contains("sv"));
    if (!q->contains("u") || !q->contains("sd") || !q->contains("sv")) return first;
  }
  EXPECT_EQ(first.at("u").size(), 18u);
  EXPECT_EQ(second.at("u"), first.at("u"));
  EXPECT_EQ(first.at("sd"), "1");
  EXPECT_EQ(second.at("sd"), "2");
  EXPECT_EQ(second.at("sv"), first.at("sv"));
  if (keptOnDisk) {
    EXPECT_EQ(third.at("u"), first.at("u"));
    EXPECT_EQ(third.at("sd"), "3");
  } else {
    EXPECT_NE(third.at("u"), first.at("u"));
    EXPECT_EQ(third.at("sd"), "1");
  }
  return first;
}

TEST_F(EndToEndTest, StoreFileOfGarbage) {
  std::string garbage(8192, '\0');
  for (size_t i = 0; i < garbage.size(); ++i) garbage[i] = static_cast<char>(i * 31 + 7);
  std::ofstream(storePath_, std::ios::binary) << garbage;
  expectTrackingWorksOver(storePath_, true);
}

TEST_F(EndToEndTest, TruncatedStoreFile) {
  {
    CapturingLogSink quiet;
    linux_platform::SqliteStore store(quiet, storePath_);
    // Enough rows for many pages, so that the cut loses part of the tree.
    for (int i = 0; i < 300; ++i) store.set("filler" + std::to_string(i), Value(std::string(200, 'x')));
    store.set(kZVPersistenTokenKey, Value("QUFFQ0F3UUZCZ2NJQ1"));
  }
  std::filesystem::resize_file(storePath_, std::filesystem::file_size(storePath_) / 2);
  expectTrackingWorksOver(storePath_, true);
}

// A row 50,000 levels deep once crashed every start while decoding it; it is skipped and
// the rest, the user token first, is read.
TEST_F(EndToEndTest, StoreRowNestedTooDeeply) {
  constexpr char kToken[] = "QUFFQ0F3UUZCZ2NJQ1";
  {
    CapturingLogSink quiet;
    linux_platform::SqliteStore(quiet, storePath_).set(kZVPersistenTokenKey, Value(kToken));
  }
  std::string row = "INSERT INTO zelvo_values VALUES ('deep', '";
  for (int i = 0; i < 50000; ++i) row += "{\"array\":[";
  row += "{\"nil\":null}";
  for (int i = 0; i < 50000; ++i) row += "]}";
  row += "')";
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(storePath_.c_str(), &db), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(db, row.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(db);
  const Query first = expectTrackingWorksOver(storePath_, true);
  EXPECT_EQ(first.count("u") ? first.at("u") : "", kToken);
}

// Root reads a file whatever its mode, so the file is made unreadable the way that stops
// root too: a directory in its place, which is left there and tracking runs from memory.
TEST_F(EndToEndTest, UnreadableStoreFile) {
  ASSERT_TRUE(std::filesystem::create_directory(storePath_));
  expectTrackingWorksOver(storePath_, false);
  EXPECT_TRUE(std::filesystem::is_directory(storePath_));
}

// A regular file where the data directory should be: the store keeps values in memory only.
TEST_F(EndToEndTest, DataDirectoryThatCannotBeCreated) {
  std::ofstream(dir_.file("in-the-way")) << "x";
  expectTrackingWorksOver(dir_.file("in-the-way/zelvo/zelvo.sqlite"), false);
}

// Values of the wrong type under the library's keys, as another program or an older version
// might leave them: each reads as absent and is replaced by a value of the right type.
TEST_F(EndToEndTest, WrongTypesUnderTheLibrarysKeys) {
  {
    CapturingLogSink quiet;
    linux_platform::SqliteStore store(quiet, storePath_);
    store.set(kZVUserVisitTrackingKey, Value("yesterday"));
    store.set(kZVUserFirstVisitTrackingKey, Value(Value::Array{Value("long ago")}));
    store.set(kSiteVisitRefreshTimeKey, Value("noon"));
    store.set(kSiteVisitUidKey, Value(Date{1.0}));
    store.set(kSiteVisitDepthKey, Value("deep"));
    store.set(kSiteVisitReferrerKey, Value(7));
    store.set(kZVAppOpenDatesKey, Value("every day"));
    store.set(kZVPersistenTokenKey, Value(Value::Dictionary{{"token", Value(1)}}));
    store.set(kZVEngagementWindowKey, Value("wide"));
  }
  const Query first = expectTrackingWorksOver(storePath_, true);
  EXPECT_EQ(first.count("f") ? first.at("f") : "", "00001");  // today's open only
  EXPECT_EQ(first.count("n") ? first.at("n") : "", "0");      // no first visit to count from

  CapturingLogSink quiet;
  linux_platform::SqliteStore store(quiet, storePath_);
  auto holdsDate = [&](const char* key) {
    std::optional<Value> value = store.get(key);
    return value && value->asDate() != nullptr;
  };
  EXPECT_TRUE(holdsDate(kZVUserVisitTrackingKey));
  EXPECT_TRUE(holdsDate(kSiteVisitRefreshTimeKey));
  std::optional<Value> openDays = store.get(kZVAppOpenDatesKey);
  ASSERT_TRUE(openDays && openDays->asArray());
  EXPECT_EQ(openDays->asArray()->size(), 1u);
}

}  // namespace
}  // namespace zelvo::integration
