// Ask-first consent on the testing platform: what the collector hears and what the store keeps,
// for each policy, answer kept from an earlier launch and host call. The stories (a first launch
// that agrees, a reader who refuses and comes back, a new reader after erasure) are replayed in
// tests/scenarios/consent_*.jsonl.
#include <set>

#include "privacy/collection_gate.h"
#include "tracker_fixture.h"
#include "zelvo/constants.h"

namespace zelvo::test {
namespace {

using Keys = std::set<std::string>;
const std::string kAnswer = CollectionGate::kConsentGivenKey;
const std::string kSwitch = CollectionGate::kCollectionEnabledKey;
// What a counted reader leaves in the store: the token, the visits and open days, the site
// visit; and the configuration's engagement window, which is not the reader's.
const Keys kReader = {kZVPersistenTokenKey,  kZVUserVisitTrackingKey, kZVUserFirstVisitTrackingKey,
                      kZVAppOpenDatesKey,    kSiteVisitUidKey,        kSiteVisitDepthKey,
                      kSiteVisitReferrerKey, kSiteVisitRefreshTimeKey, kZVEngagementWindowKey};
const Keys kReaderAndAnswer = [] { Keys keys = kReader; keys.insert(kAnswer); return keys; }();

enum class Call { kNone, kGive, kRevoke, kRevokeAndErase };

struct ConsentCase {
  const char* name;
  bool required;
  std::optional<bool> storedAnswer;  // given (true) or refused (false) on an earlier launch
  Call call;                         // made between two sessions
  bool requestsBefore, requestsAfter;  // pings or configuration fetches before and after it
  Keys keys;                           // in the store at the end
  bool collectionOff = false;          // the host's switch, kept from an earlier launch
};

class ConsentTest : public TrackerTest, public ::testing::WithParamInterface<ConsentCase> {
 protected:
  ConsentTest()
      : TrackerTest([](zelvo::testing::TestingPlatform& p) {
          const ConsentCase& c = GetParam();
          p.setConsentRequired(c.required);
          if (c.storedAnswer) p.memoryStore().set(kAnswer, Value(*c.storedAnswer));
          if (c.collectionOff) p.memoryStore().set(kSwitch, Value(false));
          p.http().setFetchResult(kZelvoConfigURL, std::string(R"({"engagement_window": 9})"));
        }) {}

  std::size_t requests() const { return pingCount() + platform->http().fetchedUrls().size(); }

  // As a host makes it: start, become active (the configuration fetch), a view with a touch
  // and a scroll, half a minute of reading. A stopped tracker starts again at its view.
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

TEST_P(ConsentTest, TheCollectorHearsAndTheStoreKeepsOnlyWhatTheAnswerAllows) {
  const ConsentCase& c = GetParam();
  session();
  const std::size_t before = requests();
  if (c.call == Call::kGive) tracker->giveConsent();
  if (c.call == Call::kRevoke || c.call == Call::kRevokeAndErase) tracker->revokeConsent(c.call == Call::kRevokeAndErase);
  session();
  EXPECT_EQ(before > 0, c.requestsBefore);
  EXPECT_EQ(requests() > before, c.requestsAfter);
  Keys keys;
  for (const auto& entry : platform->memoryStore().snapshot()) keys.insert(entry.first);
  EXPECT_EQ(keys, c.keys);
  // Without consent no token is made even in memory (the switch alone keeps it from the store).
  EXPECT_TRUE(c.collectionOff || tracker->userToken().has_value() == (keys.count(kZVPersistenTokenKey) == 1));
}

INSTANTIATE_TEST_SUITE_P(
    Answers, ConsentTest,
    ::testing::Values(
        ConsentCase{"NotRequired", false, std::nullopt, Call::kNone, true, true, kReader},
        ConsentCase{"NotRequiredAnAnswerChangesNothing", false, false, Call::kRevoke, true, true, kReaderAndAnswer},
        ConsentCase{"NotAskedYet", true, std::nullopt, Call::kNone, false, false, {}},
        ConsentCase{"AgreedBetweenSessions", true, std::nullopt, Call::kGive, false, true, kReaderAndAnswer},
        ConsentCase{"AgreedOnAnEarlierLaunch", true, true, Call::kNone, true, true, kReaderAndAnswer},
        ConsentCase{"RefusedOnAnEarlierLaunch", true, false, Call::kNone, false, false, {kAnswer}},
        ConsentCase{"AgreedAgainAfterARefusal", true, false, Call::kGive, false, true, kReaderAndAnswer},
        ConsentCase{"RefusedKeepsTheReaderUnused", true, true, Call::kRevoke, true, false, kReaderAndAnswer},
        ConsentCase{"RefusedWithErasure", true, true, Call::kRevokeAndErase, true, false,
                    {kAnswer, kZVEngagementWindowKey}},
        ConsentCase{"TheCollectionSwitchStillWins", true, true, Call::kGive, false, false, {kAnswer, kSwitch}, true}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace zelvo::test
