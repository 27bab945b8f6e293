#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "component_fixture.h"  // kStart, the instant every test world starts at
#include "tracker/tracker_testing.h"
#include "zelvo/application_events.h"
#include "zelvo/testing/testing_platform.h"
#include "zelvo/zv_tracker.h"

namespace zelvo::test {

// The key=value pairs of a ping URL's query ("_" has no value).
std::map<std::string, std::string> queryMap(const std::string& url);
inline bool hasKey(const std::string& url, const std::string& key) { return queryMap(url).count(key) == 1; }

// A fresh world: a testing platform at kStart, answers 200 to every ping, a reachable
// network, and a tracker of its own on it.
class TrackerTest : public ::testing::Test {
 protected:
  // `prepare` sets the platform up before the tracker is made (a policy, a stored value).
  explicit TrackerTest(const std::function<void(zelvo::testing::TestingPlatform&)>& prepare = {});
  // A new tracker on the same platform (the host application restarted).
  void restart();
  ZVTracker::Internal& in() { return internalsForTesting(*tracker); }
  // The last ping sent (first send or resend).
  std::string lastUrl() const;
  std::size_t pingCount() const { return platform->http().requestCount(); }
  void post(ApplicationEvent event) { postApplicationEvent(*platform, event); }
  void advance(double seconds) { platform->advance(seconds); }

  std::shared_ptr<zelvo::testing::TestingPlatform> platform;
  std::shared_ptr<ZVTracker> tracker;
};

}  // namespace zelvo::test
