// Several host threads drive the public API at once over the real Linux platform, whose main
// thread is its own: every call is carried onto it, and the pings come out whole.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "integration/bounded_wait.h"
#include "integration/local_https_server.h"
#include "integration/temp_directory.h"
#include "zelvo/application_events.h"
#include "zelvo/linux/linux_platform.h"
#include "zelvo/testing/testing_platform.h"
#include "zelvo/zv_tracker.h"

namespace zelvo::integration {
namespace {

constexpr int kThreads = 4;
constexpr int kViewsPerThread = 10;

TEST(HostThreads, ManyThreadsCallTheTrackerAtOnceAndEveryPingIsWellFormed) {
  LocalHttpsServer server;
  TempDirectory dir;
  linux_platform::LinuxPlatform::Options options;
  options.endpoint = "https://127.0.0.1:" + std::to_string(server.port());
  options.caFile = server.caFile();
  options.storePath = dir.file("zelvo.sqlite");
  auto log = std::make_shared<zelvo::testing::CapturingLogSink>();
  options.logSink = log;
  auto platform = std::make_shared<linux_platform::LinuxPlatform>(options);
  auto tracker = ZVTracker::create(platform);
  // Outcomes of requests started: every attempt ends in one (skips are not attempts).
  std::atomic<uint64_t> ended{0};
  tracker->setPingOutcomeCallback([&](const ZVPingOutcome& outcome) {
    EXPECT_TRUE(platform->mainRunLoop().isMainThread());
    if (outcome.kind < ZVPingOutcome::Kind::kSkippedOffline) ++ended;
  });
  tracker->startTrackerWithAccountID(12345, std::string("com.example.news"));

  std::vector<std::thread> hosts;
  for (int t = 0; t < kThreads; ++t) {
    hosts.emplace_back([&, t] {
      auto view = std::make_shared<SimpleScrollView>(Size{375, 667}, Size{375, 4000});
      for (int i = 0; i < kViewsPerThread; ++i) {
        const std::string id = "/t" + std::to_string(t) + "/" + std::to_string(i);
        tracker->trackView(view, id, std::string("Title ") + id);
        view->setContentOffset({0, 100.0 * i});
        tracker->setSections(ZVTracker::StringList{{"section " + std::to_string(t)}});
        tracker->userEngaged(i % 2 == 0);
        postApplicationEvent(*platform, ApplicationEvent::kKeyboardDidShow);
        platform->eventDispatch().sendEvent(Event{EventType::kTouches});
        postApplicationEvent(*platform, ApplicationEvent::kKeyboardWillHide);
        EXPECT_TRUE(tracker->userToken().has_value());
        EXPECT_TRUE(tracker->viewId().has_value());
        (void)tracker->pingStatus();
      }
    });
  }
  for (std::thread& host : hosts) host.join();

  // Each new view pings at once. A ping that fails or times out (a loaded machine) is never
  // sent again, so the test waits for every attempt's outcome rather than for every ping. Each
  // ping is a TLS exchange, which an emulator slows tenfold.
  constexpr uint64_t kViews = kThreads * kViewsPerThread;
  const auto settled = [&] {
    const ZVStatus now = tracker->pingStatus();
    return now.pingsAttempted + now.skippedBusy >= kViews && ended == now.pingsAttempted;
  };
  for (const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(testEmulator().empty() ? 30 : 100);
       !settled() && std::chrono::steady_clock::now() < end;) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  const ZVStatus status = tracker->pingStatus();
  const std::string counts = std::to_string(status.pingsAttempted) + " attempted, " +
                             std::to_string(status.pingsDelivered) + " delivered, " + std::to_string(status.failedTimeout) +
                             " timed out, " + std::to_string(status.failedConnection) + " without a connection, " +
                             std::to_string(status.skippedBusy) + " skipped busy; last error: " + status.lastError;
  ASSERT_TRUE(settled()) << counts;
  // The server answers 200 to all: only a loaded machine's failures may take some.
  EXPECT_EQ(status.pingsDelivered + status.failedTimeout + status.failedConnection, status.pingsAttempted) << counts;
  EXPECT_GT(status.pingsDelivered, 0u) << counts;
  EXPECT_GE(server.requests().size(), status.pingsDelivered) << counts;
  for (const RecordedRequest& request : server.requests()) {
    EXPECT_EQ(request.path, "/ping");
    EXPECT_TRUE(request.query.starts_with("h=")) << request.query;
    EXPECT_TRUE(request.query.ends_with("&_")) << request.query;
    EXPECT_NE(request.query.find("&g=12345&"), std::string::npos) << request.query;
  }
  for (const std::string& line : log->lines(LogSeverity::kError)) {
    EXPECT_TRUE(line.starts_with("[ZV]:Ping Error: ")) << line;
  }

  // The tracker goes before the platform whose loop its last tasks ran on.
  tracker->setPingOutcomeCallback({});
  platform->mainRunLoop().runAndWait([] {});
  tracker.reset();
}

}  // namespace
}  // namespace zelvo::integration
