#include <thread>

#include "tracker_fixture.h"

#include "zelvo/constants.h"
#include "zelvo/zelvo_config.h"

namespace zelvo::test {
namespace {

class ConfigTest : public TrackerTest {
 protected:
  // Runs the background download on a thread of its own, then the main thread's work.
  void runFetch() {
    std::thread background([this] { platform->executor().runAll(); });
    background.join();
    platform->runLoop().runPendingTasks();
  }
  std::shared_ptr<ZelvoConfig> config = in().configuration();
  std::vector<bool> results;
  std::vector<bool> onMainThread;
  std::function<void(bool)> record() {
    return [this](bool ok) {
      results.push_back(ok);
      onMainThread.push_back(platform->runLoop().isMainThread());
    };
  }
};

TEST_F(ConfigTest, TheDefaultIsInstalledByTheFirstReadAndKeptAsOneObject) {
  EXPECT_FALSE(config->config());
  auto first = config->getConfig();
  EXPECT_EQ(*first, Value(Value::Dictionary{{"engagement_window", Value(5)}}));
  EXPECT_EQ(config->getConfig(), first);
  EXPECT_EQ(in().configuration(), config);
}

TEST_F(ConfigTest, AFetchedObjectReplacesTheConfigurationOnTheMainThread) {
  platform->http().setFetchResult(kZelvoConfigURL, std::string(R"({"engagement_window": 8, "x": 1})"));
  config->updateConfigWithComplete(record());
  EXPECT_TRUE(results.empty()) << "nothing happens before the background work ran";
  runFetch();
  ASSERT_EQ(results, std::vector<bool>{true});
  EXPECT_EQ(onMainThread, std::vector<bool>{true});
  EXPECT_EQ(*config->getConfig(), Value(Value::Dictionary{{"engagement_window", Value(8)}, {"x", Value(1)}}));
  EXPECT_EQ(platform->http().fetchedUrls(), std::vector<std::string>{kZelvoConfigURL});
  in().engagement.updateEngagementWindow(in().configuration()->getConfig());
  EXPECT_EQ(in().engagement.engagementWindow(), 8u);
}

TEST_F(ConfigTest, AnythingButAnObjectIsRefusedAndKeepsTheConfiguration) {
  auto before = config->getConfig();
  for (const char* body : {"[1,2]", "not json", "5", "", "{\"a\":"}) {
    platform->http().setFetchResult(kZelvoConfigURL, std::string(body));
    config->updateConfigWithComplete(record());
    runFetch();
  }
  EXPECT_EQ(results, std::vector<bool>(5, false));
  EXPECT_EQ(config->getConfig(), before);
}

TEST_F(ConfigTest, AFailedDownloadNeverCallsTheCompletion) {
  platform->http().setFetchResult(kZelvoConfigURL, std::nullopt);
  config->updateConfigWithComplete(record());
  runFetch();
  EXPECT_TRUE(results.empty());
  EXPECT_FALSE(config->config());
}

TEST_F(ConfigTest, AFetchWithoutACompletionStillStoresTheObject) {
  platform->http().setFetchResult(kZelvoConfigURL, std::string(R"({"engagement_window": 2})"));
  config->updateConfigWithComplete(nullptr);
  runFetch();
  EXPECT_EQ(config->getConfig()->find("engagement_window")->unsignedIntValue(), 2u);
}

TEST_F(ConfigTest, TheConfigurationIsMadeOnceAndLogsItsBirthOnce) {
  restart();
  tracker->setDebugMode(true);
  platform->log().clear();
  std::vector<std::shared_ptr<ZelvoConfig>> seen(2);
  std::thread a([&] { seen[0] = in().configuration(); });
  std::thread b([&] { seen[1] = in().configuration(); });
  a.join();
  b.join();
  EXPECT_EQ(seen[0], seen[1]);
  EXPECT_EQ(platform->log().count("[ZV]:Initialized Zelvo Config Fetcher"), 1u);
}

}  // namespace
}  // namespace zelvo::test
