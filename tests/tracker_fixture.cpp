#include "tracker_fixture.h"

#include <algorithm>

#include "zelvo/platform/reachability_source.h"

namespace zelvo::test {

std::map<std::string, std::string> queryMap(const std::string& url) {
  std::map<std::string, std::string> pairs;
  for (size_t at = url.find('?'); at != std::string::npos && at < url.size();) {
    const size_t end = std::min(url.find('&', at + 1), url.size());
    const std::string part = url.substr(at + 1, end - at - 1);
    const size_t eq = std::min(part.find('='), part.size());
    pairs.emplace(part.substr(0, eq), eq < part.size() ? part.substr(eq + 1) : "");
    at = end;
  }
  return pairs;
}

TrackerTest::TrackerTest(const std::function<void(zelvo::testing::TestingPlatform&)>& prepare)
    : platform(std::make_shared<zelvo::testing::TestingPlatform>(kStart)) {
  platform->http().setDefaultAnswer(zelvo::testing::ScriptedHttpClient::Answer::withStatus(200));
  platform->http().setDelivery(zelvo::testing::ScriptedHttpClient::Delivery::kInline);
  platform->reachability().setFlags(reachability_flags::kReachable);
  if (prepare) prepare(*platform);
  tracker = ZVTracker::create(platform);
}

void TrackerTest::restart() {
  tracker.reset();
  tracker = ZVTracker::create(platform);
}

std::string TrackerTest::lastUrl() const {
  const auto& requests = platform->http().requests();
  return requests.empty() ? std::string() : requests.back().request.url;
}

}  // namespace zelvo::test
