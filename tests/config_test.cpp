// The configuration download: its effect on a session (the engagement window) is in
// tests/scenarios/world.jsonl; here, what the completion is told and on which thread, and that
// readers on the main thread meet the download's write safely.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "common/log_gate.h"
#include "zelvo/constants.h"
#include "zelvo/testing/testing_platform.h"
#include "zelvo/zelvo_config.h"

namespace zelvo {
namespace {

TEST(ConfigTest, TheCompletionHearsWhetherAnObjectWasStoredOnTheMainThread) {
  auto platform = std::make_shared<testing::TestingPlatform>();
  auto gate = std::make_shared<LogGate>(platform->logSink());
  gate->setDebugMode(true);
  auto config = std::make_shared<ZelvoConfig>(platform, gate);
  EXPECT_FALSE(config->config());
  const auto builtIn = config->getConfig();
  EXPECT_EQ(*builtIn, Value(Value::Dictionary{{"engagement_window", Value(5)}}));
  EXPECT_EQ(config->getConfig(), builtIn) << "one object until a fetch replaces it";

  std::vector<bool> results;
  // Not an object, not JSON, nested past the limit (100,000 arrays: the reader stops, the
  // download's thread lives on), a failed download, an object.
  const std::string deep = std::string(100000, '[') + std::string(100000, ']');
  for (std::optional<std::string> body : {std::optional<std::string>("[1,2]"), std::optional<std::string>("{\"a\":"),
                                          std::optional<std::string>(deep), std::optional<std::string>(),
                                          std::optional<std::string>("{\"x\": 1}")}) {
    platform->http().setFetchResult(kZelvoConfigURL, body);
    config->updateConfigWithComplete([&](bool ok) {
      EXPECT_TRUE(platform->runLoop().isMainThread());
      results.push_back(ok);
    });
    // The download runs on a thread of its own while the main thread reads.
    std::thread background([&] { platform->executor().runAll(); });
    for (int i = 0; i < 100; ++i) EXPECT_TRUE(config->getConfig());
    background.join();
    platform->runLoop().runPendingTasks();
  }
  EXPECT_EQ(results, (std::vector<bool>{false, false, false, true})) << "a failed download is never reported";
  EXPECT_EQ(platform->log().count("[ZV]:The remote configuration nests deeper than 64 levels; keeping the current one"), 1u);
  EXPECT_EQ(*config->getConfig(), Value(Value::Dictionary{{"x", Value(1)}}));
  EXPECT_EQ(platform->http().fetchedUrls(), std::vector<std::string>(5, kZelvoConfigURL));
}

}  // namespace
}  // namespace zelvo
