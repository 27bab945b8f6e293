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
  std::atomic<int> outcomes{0};
  tracker->setPingOutcomeCallback([&](const ZVPingOutcome&) {
    EXPECT_TRUE(platform->mainRunLoop().isMainThread());
    ++outcomes;
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

  // Each new view pings at once; each ping is a TLS exchange, which an emulator slows tenfold.
  constexpr std::size_t kViews = kThreads * kViewsPerThread;
  const std::chrono::seconds limit(testEmulator().empty() ? 30 : 100);
  ASSERT_TRUE(server.waitForRequests(kViews, limit))
      << server.requests().size() << " received, " << tracker->pingStatus().pingsAttempted << " attempted, "
      << tracker->pingStatus().skippedOffline << " skipped offline, " << tracker->pingStatus().skippedLockedOut
      << " skipped locked out";
  for (const RecordedRequest& request : server.requests()) {
    EXPECT_EQ(request.path, "/ping");
    EXPECT_TRUE(request.query.starts_with("h=")) << request.query;
    EXPECT_TRUE(request.query.ends_with("&_")) << request.query;
    EXPECT_NE(request.query.find("&g=12345&"), std::string::npos) << request.query;
  }
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (tracker->pingStatus().pingsDelivered < kViews && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  const ZVStatus status = tracker->pingStatus();
  EXPECT_GE(status.pingsDelivered, kViews);
  EXPECT_EQ(status.lastError, "");
  EXPECT_TRUE(log->lines(LogSeverity::kError).empty());

  // The tracker goes before the platform whose loop its last tasks ran on.
  tracker->setPingOutcomeCallback({});
  platform->mainRunLoop().runAndWait([] {});
  EXPECT_GE(outcomes.load(), static_cast<int>(kViews));
  tracker.reset();
}

}  // namespace
}  // namespace zelvo::integration
