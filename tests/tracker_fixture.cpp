#include "tracker_fixture.h"

#include "zelvo/constants.h"
#include "zelvo/platform/reachability_source.h"

namespace zelvo::test {

std::vector<std::pair<std::string, std::string>> queryPairs(const std::string& url) {
  std::vector<std::pair<std::string, std::string>> pairs;
  const size_t q = url.find('?');
  if (q == std::string::npos) return pairs;
  size_t at = q + 1;
  while (at <= url.size()) {
    size_t end = url.find('&', at);
    if (end == std::string::npos) end = url.size();
    const std::string part = url.substr(at, end - at);
    const size_t eq = part.find('=');
    if (eq == std::string::npos) pairs.emplace_back(part, "");
    else pairs.emplace_back(part.substr(0, eq), part.substr(eq + 1));
    at = end + 1;
  }
  return pairs;
}

std::map<std::string, std::string> queryMap(const std::string& url) {
  std::map<std::string, std::string> map;
  for (auto& [k, v] : queryPairs(url)) map.emplace(k, v);
  return map;
}

bool hasKey(const std::string& url, const std::string& key) { return queryMap(url).count(key) == 1; }

TrackerTest::TrackerTest() : platform(std::make_shared<zelvo::testing::TestingPlatform>(kStart)) {
  platform->http().setDefaultAnswer(zelvo::testing::ScriptedHttpClient::Answer::withStatus(200));
  platform->http().setDelivery(zelvo::testing::ScriptedHttpClient::Delivery::kInline);
  platform->reachability().setFlags(reachability_flags::kReachable);
  platform->notificationCenter().addObserver(this, kZVWillSendPingRequestNotification,
                                             [this](const Notification&) { pingTimes_.push_back(elapsed()); });
  tracker = ZVTracker::create(platform);
}

void TrackerTest::restart() {
  tracker.reset();
  tracker = ZVTracker::create(platform);
}

std::vector<std::string> TrackerTest::urls() const {
  std::vector<std::string> out;
  for (const auto& r : platform->http().requests()) out.push_back(r.request.url);
  return out;
}

std::string TrackerTest::lastUrl() const {
  auto all = urls();
  return all.empty() ? std::string() : all.back();
}

}  // namespace zelvo::test
