// Ask-first consent on the testing platform: what the collector hears and what the store keeps,
// for each policy, answer kept from an earlier launch, and host call. The replayed stories are
// tests/scenarios/consent_*.jsonl.
#include <set>
#include <thread>

#include "privacy/collection_gate.h"
#include "tracker_fixture.h"
#include "zelvo/constants.h"

namespace zelvo::test {
namespace {

using Keys = std::set<std::string>;

const std::string kAnswer = CollectionGate::kConsentGivenKey;
// What a reader who was counted leaves in the store: the token, the visits and open days, the
// site visit and the engagement window of the configuration.
const Keys kReader = {kZVPersistenTokenKey,  kZVUserVisitTrackingKey, kZVUserFirstVisitTrackingKey,
                      kZVAppOpenDatesKey,    kSiteVisitUidKey,        kSiteVisitDepthKey,
                      kSiteVisitReferrerKey, kSiteVisitRefreshTimeKey, kZVEngagementWindowKey};

Keys with(Keys keys, const std::string& key) {
  keys.insert(key);
  return keys;
}

enum class Call { kNone, kGive, kRevoke, kRevokeAndErase };

struct ConsentCase {
  const char* name;
  bool required;
  std::optional<bool> storedAnswer;  // given (true) or refused (false) on an earlier launch
  Call call;                         // made halfway through the session
  bool requestsBefore;               // pings or configuration fetches before the call
  bool requestsAfter;                // ... and after it
  Keys keys;                         // in the store at the end
};

class ConsentTableTest : public TrackerTest, public ::testing::WithParamInterface<ConsentCase> {
 protected:
  ConsentTableTest()
      : TrackerTest([](zelvo::testing::TestingPlatform& p) {
          p.setConsentRequired(GetParam().required);
          if (GetParam().storedAnswer) p.memoryStore().set(kAnswer, Value(*GetParam().storedAnswer));
          p.http().setFetchResult(kZelvoConfigURL, std::string(R"({"engagement_window": 9})"));
        }) {}

  std::size_t requests() const { return pingCount() + platform->http().fetchedUrls().size(); }

  // A launch as a host makes it: start, become active (the configuration fetch), a view with
  // a touch and a scroll, half a minute of reading.
  void session() {
    tracker->startTrackerWithAccountID(12345, std::string("com.example.news"));
    post(ApplicationEvent::kDidBecomeActive);
    platform->executor().runAll();
    auto page = std::make_shared<SimpleScrollView>(Size{375, 667}, Size{375, 4000});
    tracker->trackView(page, std::string("/a"), std::string("A"));
    platform->eventDispatch().sendEvent(Event{EventType::kTouches});
    page->setContentOffset(Point{0, 900});
    advance(31);
  }
};

TEST_P(ConsentTableTest, TheCollectorHearsAndTheStoreKeepsOnlyWhatTheAnswerAllows) {
  const ConsentCase c = GetParam();
  session();
  const std::size_t before = requests();
  switch (c.call) {
    case Call::kNone: break;
    case Call::kGive: tracker->giveConsent(); break;
    case Call::kRevoke: tracker->revokeConsent(false); break;
    case Call::kRevokeAndErase: tracker->revokeConsent(true); break;
  }
  // The same session again: a stopped tracker starts again with its next view.
  session();
  EXPECT_EQ(before > 0, c.requestsBefore);
  EXPECT_EQ(requests() > before, c.requestsAfter);
  Keys keys;
  for (const auto& [key, value] : platform->memoryStore().snapshot()) keys.insert(key);
  EXPECT_EQ(keys, c.keys);
  EXPECT_EQ(tracker->userToken().has_value(), c.keys.count(kZVPersistenTokenKey) == 1)
      << "no token, even in memory, without a stored one";
}

const Keys kRevoked = {kAnswer};
INSTANTIATE_TEST_SUITE_P(
    Answers, ConsentTableTest,
    ::testing::Values(
        ConsentCase{"NotRequired", false, std::nullopt, Call::kNone, true, true, kReader},
        ConsentCase{"NotRequiredTheAnswerIsKeptButChangesNothing", false, false, Call::kNone, true, true,
                    with(kReader, kAnswer)},
        ConsentCase{"NotAskedYet", true, std::nullopt, Call::kNone, false, false, {}},
        ConsentCase{"AskedAndAgreedHalfway", true, std::nullopt, Call::kGive, false, true, with(kReader, kAnswer)},
        ConsentCase{"AgreedOnAnEarlierLaunch", true, true, Call::kNone, true, true, with(kReader, kAnswer)},
        ConsentCase{"RefusedOnAnEarlierLaunch", true, false, Call::kNone, false, false, kRevoked},
        ConsentCase{"RefusedHalfwayKeepsTheReaderUnused", true, true, Call::kRevoke, true, false,
                    with(kReader, kAnswer)},
        ConsentCase{"RefusedHalfwayWithErasure", true, true, Call::kRevokeAndErase, true, false,
                    with({kZVEngagementWindowKey}, kAnswer)},
        ConsentCase{"AgreedAgainAfterARefusal", true, false, Call::kGive, false, true, with(kReader, kAnswer)}),
    [](const auto& info) { return std::string(info.param.name); });

class ConsentTest : public TrackerTest {
 protected:
  ConsentTest() : TrackerTest([](zelvo::testing::TestingPlatform& p) { p.setConsentRequired(true); }) {}
  void startAndView() {
    tracker->startTrackerWithAccountID(12345, std::string("com.example.news"));
    tracker->trackView(std::make_shared<SimpleScrollView>(Size{375, 667}, Size{375, 4000}), std::string("/a"),
                       std::string("A"));
  }
};

TEST_F(ConsentTest, GivingConsentOnAStartedTrackerSendsAFullPingForTheNewReaderNext) {
  EXPECT_TRUE(tracker->consentRequired());
  EXPECT_EQ(tracker->consentState(), ConsentState::kUnknown);
  startAndView();
  advance(20);
  EXPECT_EQ(pingCount(), 0u);
  tracker->giveConsent();
  EXPECT_EQ(tracker->consentState(), ConsentState::kGiven);
  advance(15);
  ASSERT_EQ(pingCount(), 1u);
  const auto query = queryMap(lastUrl());
  EXPECT_EQ(query.at("u"), *tracker->userToken());
  EXPECT_EQ(query.count("sv"), 1u) << "the view on screen starts the site visit";
  ASSERT_EQ(query.count("n"), 1u) << "a full ping";
  EXPECT_EQ(query.at("n"), "1") << "a reader new from now";
}

TEST_F(ConsentTest, TheAnswerOutlivesTheTrackerAndErasureMakesTheNextConsentANewReader) {
  tracker->giveConsent();
  startAndView();
  advance(20);
  const std::optional<std::string> first = tracker->userToken();
  ASSERT_TRUE(first);
  restart();
  EXPECT_EQ(tracker->consentState(), ConsentState::kGiven);
  startAndView();
  EXPECT_EQ(tracker->userToken(), first);

  tracker->revokeConsent(true);
  restart();
  EXPECT_EQ(tracker->consentState(), ConsentState::kRevoked);
  tracker->giveConsent();
  startAndView();
  ASSERT_TRUE(tracker->userToken());
  EXPECT_NE(tracker->userToken(), first);
}

TEST_F(ConsentTest, TheCollectionSwitchStillWinsOverConsentAndCallsFromAnotherThreadKeepTheirOrder) {
  tracker->setCollectionEnabled(false);
  tracker->giveConsent();
  startAndView();
  advance(20);
  EXPECT_EQ(pingCount(), 0u);
  tracker->setCollectionEnabled(true);
  advance(15);
  const std::size_t sent = pingCount();
  EXPECT_GT(sent, 0u);

  std::thread host([&] {
    tracker->revokeConsent(false);
    tracker->giveConsent();
    tracker->revokeConsent(false);
  });
  host.join();
  platform->runLoop().runPendingTasks();
  EXPECT_EQ(tracker->consentState(), ConsentState::kRevoked);
  advance(60);
  EXPECT_EQ(pingCount(), sent);
}

}  // namespace
}  // namespace zelvo::test
