#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tracker/tracker_testing.h"
#include "zelvo/application_events.h"
#include "zelvo/testing/testing_platform.h"
#include "zelvo/zv_tracker.h"

namespace zelvo::test {

// 2026-03-28T10:00:00Z in seconds since 2001.
inline constexpr double kStart = 796384800.0;

// The key=value pairs of a ping URL's query, in wire order ("_" has no value).
std::vector<std::pair<std::string, std::string>> queryPairs(const std::string& url);
// The query as a map, for lookups.
std::map<std::string, std::string> queryMap(const std::string& url);
bool hasKey(const std::string& url, const std::string& key);

// A fresh world: a testing platform at kStart, answers 200 to every ping, a reachable
// network, and a tracker of its own on it.
class TrackerTest : public ::testing::Test {
 protected:
  TrackerTest();
  // A new tracker on the same platform (the host application restarted).
  void restart();
  ZVTracker::Internal& in() { return internalsForTesting(*tracker); }
  // Pings sent so far (first sends and resends), oldest first.
  std::vector<std::string> urls() const;
  std::string lastUrl() const;
  std::size_t pingCount() const { return platform->http().requestCount(); }
  // Seconds since kStart.
  double elapsed() const { return platform->clock().now() - kStart; }
  void post(ApplicationEvent event) { postApplicationEvent(*platform, event); }
  void advance(double seconds) { platform->advance(seconds); }
  // Times (seconds since kStart) at which each ping was sent, recorded by a will-send observer.
  std::vector<double> pingTimes() const { return pingTimes_; }

  std::shared_ptr<zelvo::testing::TestingPlatform> platform;
  std::shared_ptr<ZVTracker> tracker;

 private:
  std::vector<double> pingTimes_;
};

}  // namespace zelvo::test
