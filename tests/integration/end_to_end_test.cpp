// The tracker on the real Linux platform, end to end: its own loop thread as the main thread,
// the SQLite store in a temporary directory, curl with verification on, reaching a local
// HTTPS server under the endpoints' real host names.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "integration/bounded_wait.h"
#include "integration/local_https_server.h"
#include "integration/temp_directory.h"
#include "zelvo/application_events.h"
#include "zelvo/linux/external_run_loop.h"
#include "zelvo/linux/linux_platform.h"
#include "zelvo/testing/testing_platform.h"
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
constexpr milliseconds kQuietPeriod{1500};  // watching for a ping that must not come

using Query = std::map<std::string, std::string>;

// "k=v" pairs of a ping's query, values as sent (undecoded), without the closing "&_" that
// every query must end with.
Query parseQuery(std::string query) {
  EXPECT_TRUE(query.ends_with("&_")) << query;
  Query pairs;
  for (size_t begin = 0, end = 0; end != std::string::npos && begin < query.size() - 2; begin = end + 1) {
    end = query.find('&', begin);
    const std::string part = query.substr(begin, end - begin);
    EXPECT_TRUE(pairs.emplace(part.substr(0, part.find('=')), part.substr(part.find('=') + 1)).second) << part;
  }
  return pairs;
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

  bool trackView(const std::shared_ptr<View>& view, const std::string& viewId, const std::string& title) {
    bool tracked = false;
    platform_->mainRunLoop().runAndWait([&] { tracked = tracker_->trackView(view, viewId, title); });
    return tracked;
  }

  LinuxPlatform& platform() { return *platform_; }

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

  void expectTrackingWorksOver(const std::string& storePath, bool keptOnDisk);

  TempDirectory dir_;
  std::string storePath_ = dir_.file("zelvo.sqlite");
  LocalHttpsServer server_{{"ping.zelvo-analytics.net", "pong.zelvo-analytics.net", "config.zelvo-analytics.net"},
                           std::chrono::seconds(60)};
  std::shared_ptr<CapturingLogSink> log_ = std::make_shared<CapturingLogSink>();
  std::shared_ptr<View> home_ = std::make_shared<SimpleView>(Size{375, 667});
  std::shared_ptr<View> article_ = std::make_shared<SimpleView>(Size{375, 667});
};

// The query's bytes are pinned by the scenario files; here, what the real platform adds: the
// request itself, the model in the user agent, the application's identifier, the escaping.
TEST_F(EndToEndTest, FirstPingOfAViewLeavesAtOnceWithUserAgentAndFullQuery) {
  auto app = launch(storePath_);
  EXPECT_TRUE(app->trackView(article_, "/news/a b", "Rain & sun?"));
  const Query q = pingQuery(0);
  const RecordedRequest request = server_.requests().at(0);
  EXPECT_EQ(request.method, "GET");
  const auto agent = request.headers.find("User-Agent");
  EXPECT_EQ(agent != request.headers.end() ? agent->second : "",
            "Mozilla/5.0 (Reader Box; CPU Reader Box OS 10_1_1 like Mac OS X) AppleWebKit/602.2.14 (KHTML, "
            "like Gecko) Version/10.0 Mobile/14B100 Safari/602.1/zvua/App");
  // A first ping is full; the first view has no previous session, referrer still to send.
  std::set<std::string> keys;
  for (const auto& [key, value] : q) keys.insert(key);
  EXPECT_EQ(keys, (std::set<std::string>{"h", "d", "g", "j", "u", "t", "p", "c", "y", "o", "x", "m", "f", "R", "W",
                                              "I", "E", "e", "Z", "sd", "sr", "sv", "n", "i", "g0", "g1", "g2", "w", "S",
                                              "lg", "lt", "V", "r"}));
  for (const auto& [key, value] : std::map<std::string, std::string>{
           {"h", kAppId}, {"d", kAppId}, {"g", "4242"}, {"p", "/news/a%20b"}, {"i", "Rain%20%26%20sun%3F"}}) {
    EXPECT_EQ(q.count(key) ? q.at(key) : "<absent>", value) << key;
  }
}

// The ids of the threads the process has now, the library's and everyone else's. A thread
// just joined can stay listed for a moment after its joiner returned, so a test counts the
// threads that are not in a set taken before, never a difference of two counts.
std::set<std::string> threadIds() {
  std::set<std::string> ids;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) ids.insert(task.path().filename());
  return ids;
}

std::size_t threadsAddedSince(const std::set<std::string>& before) {
  std::size_t added = 0;
  for (const std::string& id : threadIds()) added += before.count(id) == 0 ? 1 : 0;
  return added;
}

TEST_F(EndToEndTest, AddsTwoThreadsAtMostAndJoinsThemAll) {
  // A user-mode emulator (the aarch64 preset's QEMU) runs threads of its own in the process, which
  // come and go on its schedule, and /proc/self/task lists them with the program's.
  if (const std::string emulator = testEmulator(); !emulator.empty())
    GTEST_SKIP() << "under " << emulator << ", /proc/self/task counts the emulator's own threads too";
  const std::set<std::string> before = threadIds();
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
    EXPECT_LE(threadsAddedSince(before), 1u);
  }
  EXPECT_TRUE(eventually([&] { return threadsAddedSince(before) == 0; })) << threadsAddedSince(before) << " left";
  {
    // A tracker reading and pinging on the default platform: its loop thread and the I/O thread
    // (the configuration fetch's thread ends with the fetch).
    auto app = launch(storePath_);
    app->trackView(article_, "/story", "Story");
    pingQuery(1);
    EXPECT_TRUE(eventually([&] { return threadsAddedSince(before) <= 2; })) << threadsAddedSince(before) << " added";
  }
  EXPECT_TRUE(eventually([&] { return threadsAddedSince(before) == 0; })) << threadsAddedSince(before) << " left";
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

// --- Bad input on the disk: the tracker starts, tracks, pings, and never throws. How the
// store itself recovers (truncated files, undecodable rows) is the store's own test, and
// values of the wrong type under the library's keys are the core's; here it is the tracker on
// top of the store.

// Starts over `storePath`, tracks two views with a return to the foreground between them,
// then starts again and tracks one more: every ping leaves and the visit goes on. The user
// token survives the restart only when the store could keep it on disk.
void EndToEndTest::expectTrackingWorksOver(const std::string& storePath, bool keptOnDisk) {
  Query q[3];
  {
    auto app = launch(storePath);
    EXPECT_TRUE(app->trackView(home_, "/one", "One"));
    q[0] = pingQuery(0);
    postApplicationEvent(app->platform(), ApplicationEvent::kDidBecomeActive);
    EXPECT_TRUE(app->trackView(article_, "/two", "Two"));
    q[1] = pingQuery(1);
  }
  auto app = launch(storePath);
  EXPECT_TRUE(app->trackView(home_, "/three", "Three"));
  q[2] = pingQuery(2);
  std::string seen[3];
  for (int i = 0; i < 3; ++i) seen[i] = q[i]["u"] + " " + q[i]["sd"] + " " + q[i]["sv"];
  EXPECT_EQ(q[0]["u"].size(), 18u);
  EXPECT_EQ(seen[1], q[0]["u"] + " 2 " + q[0]["sv"]);
  EXPECT_EQ(q[0]["sd"], "1");
  if (keptOnDisk) EXPECT_EQ(seen[2], q[0]["u"] + " 3 " + q[0]["sv"]);
  else EXPECT_EQ(q[2]["sd"], "1");
  EXPECT_NE(q[2]["u"] == q[0]["u"], !keptOnDisk);
}

// A regular file where the data directory should be: values are kept in memory only, and the
// next start is a new user.
TEST_F(EndToEndTest, AStoreThatCannotBeCreatedKeepsValuesInMemoryOnly) {
  std::ofstream(dir_.file("in-the-way")) << "x";
  expectTrackingWorksOver(dir_.file("in-the-way/zelvo/zelvo.sqlite"), false);
}

}  // namespace
}  // namespace zelvo::integration
