#pragma once

// A tracker's world for the heartbeat benchmarks: the testing platform with a transport that
// answers 200 at once and keeps nothing, so only the library's own keeping counts.

#include <cstdint>
#include <memory>
#include <string>

#include "platform/linux/url_acceptance.h"
#include "zelvo/testing/testing_platform.h"
#include "zelvo/zv_tracker.h"

namespace zelvo::bench {

// 2026-03-28T10:00:00Z in seconds since 2001.
inline constexpr double kStart = 796384800.0;

// Answers every ping with 200 at once and keeps nothing.
class AnsweringTransport : public HttpClient {
 public:
  void startGet(HttpRequest request, HttpCompletion done) override {
    lastUrlLength = request.url.size();
    if (done) done(HttpResponse{200, std::move(request.url)});
  }
  std::optional<std::string> fetch(const std::string&) override { return std::nullopt; }
  // The real client's check: it is part of each ping's cost.
  bool acceptsUrl(std::string_view url) const override { return linux_platform::acceptsHttpsUrl(url); }
  std::size_t lastUrlLength = 0;
};

class BenchPlatform : public testing::TestingPlatform {
 public:
  BenchPlatform() : TestingPlatform(kStart) { reachability().setFlags(reachability_flags::kReachable); }
  HttpClient& httpClient() override { return transport; }
  AnsweringTransport transport;
};

// A started tracker reading one article; `interval` is its ping period in seconds.
struct World {
  explicit World(uint32_t interval) {
    tracker = ZVTracker::create(platform);
    tracker->startTrackerWithAccountID(12345, std::string("com.example.news"));
    tracker->setInterval(interval);
    tracker->trackView(article, std::string("/news/2026/03/budget talks/what changes and when"),
                      std::string("Budget talks"));
    platform->executor().runAll();
  }
  std::shared_ptr<BenchPlatform> platform = std::make_shared<BenchPlatform>();
  std::shared_ptr<View> article = std::make_shared<SimpleScrollView>(Size{375, 667}, Size{375, 4000});
  std::shared_ptr<ZVTracker> tracker;
};

}  // namespace zelvo::bench
