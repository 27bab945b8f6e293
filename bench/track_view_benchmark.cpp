// What trackView() costs the host's main thread on the Linux platform (SQLite store in a
// temporary directory, the ping built and handed to a transport that sends nothing), against
// one snprintf of a 600-byte URL. The main thread must never wait on the disk here: the
// site-visit writes are plain set() calls that the store's writer thread makes durable.
//
// The per-call times of trackView are also taken one by one (two steady_clock reads around
// each call, included in the figure) and sorted, for the median and the 99th percentile.
// "blocked_per_1k" counts the times the calling thread gave up the processor to wait (its
// voluntary context switches, per thousand calls): a wait on the disk or on the store's
// writer would show there, while preemption by other processes does not.
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "tls_support/temp_directory.h"
#include "baseline_ratio.h"
#include "platform/linux/url_acceptance.h"
#include "zelvo/linux/external_run_loop.h"
#include "zelvo/linux/linux_platform.h"
#include "zelvo/zv_tracker.h"

namespace zelvo {
namespace {

using linux_platform::ExternalRunLoop;
using linux_platform::LinuxPlatform;

// Accepts every request and never answers: the cost measured ends where the network begins.
class SilentHttpClient : public HttpClient {
 public:
  void startGet(HttpRequest, HttpCompletion) override {}
  std::optional<std::string> fetch(const std::string&) override { return std::nullopt; }
  // The real client's check: it is part of each ping's cost.
  bool acceptsUrl(std::string_view url) const override { return linux_platform::acceptsHttpsUrl(url); }
};

// Says every target is reachable, so that the tracker builds and sends each ping whatever the
// machine's routes are.
class AlwaysReachable : public ReachabilitySource {
  class Target : public ReachabilityTarget {
   public:
    std::optional<uint32_t> flags() override { return reachability_flags::kReachable; }
    bool setCallback(std::function<void()>) override { return true; }
    bool scheduleOnMainRunLoop() override { return true; }
    void unscheduleFromMainRunLoop() override {}
  };

 public:
  std::unique_ptr<ReachabilityTarget> targetForAddress(const Ipv4SocketAddress&) override {
    return std::make_unique<Target>();
  }
  std::unique_ptr<ReachabilityTarget> targetForHostName(const std::string&) override {
    return std::make_unique<Target>();
  }
};

// The Linux platform with the transport and the reachability replaced.
class BenchmarkPlatform : public Platform {
 public:
  explicit BenchmarkPlatform(LinuxPlatform::Options options) : linux_(std::move(options)) {}

  Clock& clock() override { return linux_.clock(); }
  Calendar& calendar() override { return linux_.calendar(); }
  RunLoop& mainRunLoop() override { return linux_.mainRunLoop(); }
  Executor& backgroundExecutor() override { return linux_.backgroundExecutor(); }
  NotificationCenter& notificationCenter() override { return linux_.notificationCenter(); }
  KeyValueStore* store() override { return linux_.store(); }
  HttpClient& httpClient() override { return http_; }
  ReachabilitySource& reachabilitySource() override { return reachability_; }
  UuidSource& uuidSource() override { return linux_.uuidSource(); }
  DeviceInfo& deviceInfo() override { return linux_.deviceInfo(); }
  Screen& screen() override { return linux_.screen(); }
  EventDispatch& eventDispatch() override { return linux_.eventDispatch(); }
  LogSink& logSink() override { return linux_.logSink(); }

 private:
  LinuxPlatform linux_;
  SilentHttpClient http_;
  AlwaysReachable reachability_;
};

// A full ping's URL of 600 bytes written by one snprintf: every key of a full ping with the
// conversion its value needs (integers, the dwell minutes, the coordinates), from values
// that are already numbers and escaped text.
void BaselineSnprintf600ByteUrl(benchmark::State& state) {
  const std::string title = "Budget%20talks%3A%20what%20changes%20%26%20when%2C%20and%20who%20pays%20for%20it" +
                            std::string(80, 'x');
  char buffer[1024];
  int length = 0;
  for (auto _ : state) {
    length = std::snprintf(
        buffer, sizeof buffer,
        "%sh=%s&d=%s&g=%d&j=%d&u=%s&t=%s&p=%s&c=%.2f&y=%d&o=%d&x=%d&m=%d&f=%s&R=%d&W=%d&I=%d&E=%d&e=%d&Z=%d"
        "&sd=%lld&sr=%s&sv=%s&n=%d&i=%s&g0=%s&g1=%s&g2=&w=%d&S=%d&lg=%f&lt=%f&V=%s&v=%s&D=%s&_",
        "https://ping.zelvo-analytics.net/ping?", "com.example.reader", "com.example.reader", 12345, 30,
        "QUFFQ0F3UUZCZ2NJQ1", "QUFFQ0F3UUZCZ2NJQ1FvTERBME9Ed19f", "/news/2026/03/budget%20talks",
        static_cast<double>(45.0f / 60.0f), 8123, 750, 2400, 3100, "0001f", 1, 0, 0, 21, 6, 1, 3LL, "",
        "U0lURVZJU0lUVUlEVUlEVUlEVUlEVUlE", 0, title.c_str(), "news,politics", "Jane%20Doe", 1334, 750,
        13.404954, 52.520008, "1009", "/news/2026/03/weather", "UFJFVklPVVNTRVNTSU9OVE9LRU5UT0tF");
    benchmark::DoNotOptimize(buffer);
    benchmark::ClobberMemory();
  }
  state.counters["url_bytes"] = length;
}
BENCHMARK(BaselineSnprintf600ByteUrl);

void TrackView(benchmark::State& state) {
  tools::TempDirectory directory;
  if (directory.path().empty()) {
    state.SkipWithError("no temporary directory");
    return;
  }
  // Made on this thread, so this thread is the library's main thread; its timers never fire
  // (nobody calls runDue()), which keeps the heartbeat out of the figure.
  auto loop = std::make_shared<ExternalRunLoop>();
  LinuxPlatform::Options options;
  options.storePath = directory.file("zelvo.sqlite");
  options.mainRunLoop = loop;
  options.applicationIdentifier = "com.example.reader";
  auto platform = std::make_shared<BenchmarkPlatform>(std::move(options));
  auto tracker = ZVTracker::create(platform);
  tracker->startTrackerWithAccountID(12345);
  tracker->setSections(std::vector<std::string>{"news", "politics"});
  tracker->setAuthors(std::vector<std::string>{"Jane Doe"});

  // Two views taken in turn, so that no call is a repeat.
  const std::shared_ptr<View> views[] = {std::make_shared<SimpleView>(Size{375, 667}),
                                         std::make_shared<SimpleView>(Size{375, 667})};
  const std::string ids[] = {"/news/2026/03/budget talks", "/news/2026/03/weather"};
  const std::string titles[] = {"Budget talks: what changes & when", "Rain, then sun"};

  auto voluntarySwitches = [] {
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
  };
  std::vector<double> nanoseconds;
  nanoseconds.reserve(1 << 20);
  size_t turn = 0;
  const long switchesBefore = voluntarySwitches();
  for (auto _ : state) {
    const auto begin = std::chrono::steady_clock::now();
    bool taken = tracker->trackView(views[turn], ids[turn], titles[turn]);
    const auto end = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(taken);
    if (nanoseconds.size() < nanoseconds.capacity()) {
      nanoseconds.push_back(std::chrono::duration<double, std::nano>(end - begin).count());
    }
    turn ^= 1;
  }
  const long blocked = voluntarySwitches() - switchesBefore;
  std::sort(nanoseconds.begin(), nanoseconds.end());
  auto percentile = [&](double p) {
    return nanoseconds.empty() ? 0.0 : nanoseconds[static_cast<size_t>(p * static_cast<double>(nanoseconds.size() - 1))];
  };
  state.counters["p50_ns"] = percentile(0.50);
  state.counters["p99_ns"] = percentile(0.99);
  state.counters["max_ns"] = percentile(1.0);
  state.counters["blocked_per_1k"] = 1000.0 * static_cast<double>(blocked) / static_cast<double>(state.iterations());
  tracker.reset();
}
BENCHMARK(TrackView);

}  // namespace
}  // namespace zelvo

ZELVO_BENCHMARK_MAIN()
