#include "zelvo/platform/notification_center.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace zelvo {
namespace {

class NotificationCenterTest : public ::testing::Test {
 protected:
  NotificationCenter center_;
  std::vector<std::string> calls_;
  int first_ = 0;
  int second_ = 0;

  NotificationCenter::Callback note(std::string label) {
    return [this, label = std::move(label)](const Notification&) { calls_.push_back(label); };
  }
};

TEST_F(NotificationCenterTest, RepeatedRegistrationsCountInsteadOfCopying) {
  // A host that goes to the background a thousand times registers a thousand times: the
  // registry keeps one entry with its count, and each post delivers once per registration.
  center_.addObserver(&first_, "ping", note("first"));
  center_.addObserver(&second_, "ping", note("second"));
  center_.addObserver(&first_, "other", note("other"));
  for (int i = 1; i < 1000; ++i) center_.addObserver(&first_, "ping", note("copy"));
  EXPECT_EQ(center_.registrationCount(&first_, "ping"), 1000u);
  EXPECT_EQ(center_.entryCount(), 3u);
  center_.post("ping");
  std::vector<std::string> expected(1000, "first");
  expected.push_back("second");
  EXPECT_EQ(calls_, expected);
  center_.removeObserver(&first_, "ping");
  EXPECT_EQ(center_.registrationCount(&first_, "ping"), 0u);
  EXPECT_EQ(center_.entryCount(), 2u);
}

TEST_F(NotificationCenterTest, RemovalByObserverOrByName) {
  center_.addObserver(&first_, "ping", note("first-ping"));
  center_.addObserver(&first_, "pong", note("first-pong"));
  center_.addObserver(&second_, "ping", note("second-ping"));

  center_.removeObserver(&first_, "ping");
  center_.post("ping");
  center_.post("pong");
  EXPECT_EQ(calls_, (std::vector<std::string>{"second-ping", "first-pong"}));

  calls_.clear();
  center_.addObserver(&first_, "ping", note("first-ping"));
  center_.removeObserver(&first_);
  center_.post("ping");
  center_.post("pong");
  EXPECT_EQ(calls_, (std::vector<std::string>{"second-ping"}));
  EXPECT_EQ(center_.registrationCount(&first_, "pong"), 0u);
}

TEST_F(NotificationCenterTest, ObjectFilterAndUserInfo) {
  int sender = 0;
  int stranger = 0;
  const Value* seenInfo = nullptr;
  center_.addObserver(&first_, "ping", note("from-sender"), &sender);
  center_.addObserver(&second_, "ping", [&](const Notification& n) {
    calls_.push_back("any");
    seenInfo = n.userInfo;
    EXPECT_EQ(n.name, "ping");
  });
  const Value info(Value::Dictionary{{"key", Value(1)}});
  center_.post("ping", &stranger, &info);
  EXPECT_EQ(calls_, (std::vector<std::string>{"any"}));
  EXPECT_EQ(seenInfo, &info);
  calls_.clear();
  center_.post("ping", &sender);
  EXPECT_EQ(calls_, (std::vector<std::string>{"from-sender", "any"}));
  calls_.clear();
  center_.post("pin");  // names match whole
  EXPECT_TRUE(calls_.empty());
}

TEST_F(NotificationCenterTest, ChangesDuringADeliveryApplyAsPromised) {
  // A registration added during a post waits for the next post; one removed during a post is
  // not called after its removal.
  center_.addObserver(&first_, "ping", [this](const Notification&) {
    calls_.push_back("first");
    center_.removeObserver(&second_);
    center_.addObserver(&first_, "ping", note("added"));
  });
  center_.addObserver(&second_, "ping", note("second"));
  center_.post("ping");
  EXPECT_EQ(calls_, (std::vector<std::string>{"first"}));
  calls_.clear();
  center_.removeObserver(&first_);
  center_.addObserver(&first_, "ping", note("plain"));
  center_.post("ping");
  EXPECT_EQ(calls_, (std::vector<std::string>{"plain"}));
}

TEST_F(NotificationCenterTest, PostsFromSeveralThreadsWhileRegistrationsChange) {
  constexpr int kThreads = 4;
  constexpr int kPosts = 2000;
  std::atomic<int> delivered{0};
  center_.addObserver(&first_, "ping", [&](const Notification&) { ++delivered; });
  std::atomic<bool> stop{false};
  std::thread churn([&] {
    for (int i = 0; !stop; ++i) {
      center_.addObserver(&second_, "ping", [](const Notification&) {});
      center_.removeObserver(&second_, "ping");
      if (i > 100000) break;  // bounded even if the posters stall
    }
  });
  std::vector<std::thread> posters;
  for (int t = 0; t < kThreads; ++t) {
    posters.emplace_back([&] {
      for (int i = 0; i < kPosts; ++i) center_.post("ping");
    });
  }
  for (auto& p : posters) p.join();
  stop = true;
  churn.join();
  EXPECT_EQ(delivered.load(), kThreads * kPosts);
  EXPECT_EQ(center_.registrationCount(&second_, "ping"), 0u);
}

}  // namespace
}  // namespace zelvo
