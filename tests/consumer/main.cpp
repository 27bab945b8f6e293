// A host application's test, built against an installed (or added) Zelvo from outside its
// tree: a tracker on the testing platform follows one article for a minute of virtual time and
// must have sent pings. scripts/package-check.sh builds and runs it three ways.
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include <zelvo/platform/reachability_source.h>
#include <zelvo/testing/testing_platform.h>
#include <zelvo/version.h>
#include <zelvo/zv_tracker.h>

int main() {
  if (std::strcmp(zelvo::libraryVersion(), ZELVO_VERSION_STRING) != 0) {
    std::fprintf(stderr, "headers of %s, library of %s\n", ZELVO_VERSION_STRING, zelvo::libraryVersion());
    return 1;
  }
  auto platform = std::make_shared<zelvo::testing::TestingPlatform>(796384800.0);
  platform->http().setDefaultAnswer(zelvo::testing::ScriptedHttpClient::Answer::withStatus(200));
  platform->http().setDelivery(zelvo::testing::ScriptedHttpClient::Delivery::kInline);
  platform->reachability().setFlags(zelvo::reachability_flags::kReachable);

  auto tracker = zelvo::ZVTracker::create(platform);
  tracker->startTrackerWithAccountID(12345, std::string("com.example.news"));
  auto article = std::make_shared<zelvo::SimpleScrollView>(zelvo::Size{375, 667}, zelvo::Size{375, 4000});
  tracker->trackView(article, std::string("/news/today"), std::string("Today's news"));
  article->setContentOffset({0, 1200});
  platform->advance(60);

  const zelvo::ZVStatus status = tracker->pingStatus();
  const auto requests = platform->http().requests();
  bool allPings = !requests.empty();
  for (const auto& r : requests) allPings = allPings && r.request.url.find("/ping?") != std::string::npos;
  std::printf("zelvo %s: %zu pings, %llu delivered\n", zelvo::libraryVersion(), requests.size(),
              static_cast<unsigned long long>(status.pingsDelivered));
  tracker->stopTracker();
  return allPings && status.pingsDelivered == requests.size() ? 0 : 1;
}
