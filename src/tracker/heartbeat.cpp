#include "common/format.h"
#include "tracker/main_thread.h"
#include "tracker/tracker_internal.h"
#include "zelvo/constants.h"

namespace zelvo {
namespace {

constexpr uint32_t kDecayValue = 30;

}  // namespace

void ZVTracker::setInterval(uint32_t seconds) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setInterval, seconds)) return;
  internal_->gate->standard([&] { return formatPosix("[ZV]: setInterval: %d", asSigned32(seconds)); });
  // Only the period to return to: the running one changes on the next view or return.
  internal_->schedule.setInterval(seconds);
}

void ZVTracker::Internal::dwellTick() {
  std::lock_guard lock(monitor);
  if (!schedule.countSecond()) return;
  engagement.countEngagedSecond();
  if (schedule.isPingDue()) {
    tick();
    schedule.startNextPeriod();
  }
  measurement.updateMaxScrollLocation(view.get());
}

const ZVPing::TrackArguments& ZVTracker::Internal::gatherPingArguments(bool isNew, bool fromDecay) {
  const View* shown = view.get();
  ZVPing::TrackArguments& a = pingArguments;
  a.trackAccountID = uid;
  a.firstPing = fromDecay ? true : firstPing;
  a.new_ = isNew;
  a.decay = kDecayValue;
  a.userToken = identity.userToken();
  a.sessionToken = identity.sessionToken();
  a.dwellTime = schedule.dwellTime();
  a.contentHeight = measurement.pointsToPixels(measurement.getContentHeight(shown));
  a.contentWidth = measurement.pointsToPixels(measurement.getContentWidth(shown));
  a.scrollPosition = measurement.pointsToPixels(measurement.isScrollView(shown) ? measurement.getContentOffset(shown).y : 0.0);
  a.maxScrollPosition = measurement.maxScrollPositionInPixels();
  if (!fromDecay && firstPing && lastId) a.lastPath = *lastId;
  else a.lastPath = std::string();
  a.screenHeight = static_cast<float>(measurement.pointsToPixels(measurement.getScreenHeight()));
  a.screenWidth = static_cast<float>(measurement.pointsToPixels(measurement.getScreenWidth()));
  a.frequency = identity.userReturnFrequencyHex();
  a.userRead = engagement.userReadSinceLastPing();
  a.userWrote = engagement.userWroteSinceLastPing();
  a.engagedSeconds = engagement.engagedSeconds();
  a.engagedSecondsSinceLastPing = engagement.engagedSecondsSinceLastPing();
  a.pingEndpointVersion = static_cast<uint32_t>(kZVPingEndpointVersion);
  a.sdkVersion = kZelvoSDKVersion;
  a.siteVisitDepth = siteVisit.getSiteVisitDepth();
  a.siteVisitReferrer = siteVisit.getSiteVisitReferrer();
  a.siteVisitUid = siteVisit.getSiteVisitId();
  a.previousSessionToken = identity.previousSessionToken();
  a.page = page;
  return a;
}

void ZVTracker::Internal::tick() {
  gate->initializationTime([&] {
    return formatPosix("[ZV]:************************************************ ZVTracker initialization time: %f ms",
                       initializationTime);
  });
  if (!schedule.sendingPings() || !collection->collecting()) return;
  // Asked before the network test, so also when no ping follows.
  const bool isNew = identity.isUserNew();
  if (!reachability || reachability->currentReachabilityStatus() == 0) {
    // Nothing is reset: the next ping that goes out carries what was counted meanwhile.
    gate->standard([] { return std::string("[ZV]:Offline, not pinging"); });
    pingStatus->record({ZVPingOutcome::Kind::kSkippedOffline, {}, 0, {}});
    return;
  }
  gate->standard([&] {
    return formatPosix("[ZV]:Tick interval: %d, dwell: %d", asSigned32(schedule.interval()),
                       asSigned32(schedule.dwellTime()));
  });
  ping->trackAccountID(gatherPingArguments(isNew, false));
  engagement.resetPerPingEngagementMetrics();
  firstPing = false;
  lastId = page.viewId;
  schedule.backOffIfInactive();
}

void ZVTracker::Internal::decayPing() {
  if (!schedule.sendingPings() || !collection->collecting()) return;
  ping->trackAccountID(gatherPingArguments(identity.isUserNew(), true));
  engagement.resetPerPingEngagementMetrics();
}

}  // namespace zelvo
