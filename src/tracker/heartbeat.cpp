#include "common/format.h"
#include "tracker/tracker_internal.h"
#include "zelvo/constants.h"

namespace zelvo {
namespace {

// The period doubles after each ping of an inactive reader while it is below this.
constexpr uint32_t kDoublingCeiling = 240;
constexpr uint32_t kDecayValue = 30;

}  // namespace

int32_t ZVTracker::Internal::getInitialPingInterval() { return kInitialPingInterval; }

std::shared_ptr<Timer> ZVTracker::Internal::makeHeartbeat() {
  return platform->mainRunLoop().addRepeatingTimer(1.0, [this] { dwellTick(); });
}

void ZVTracker::Internal::resetTimer() {
  if (dwellTimer) dwellTimer->invalidate();
  dwellTimer = makeHeartbeat();
}

void ZVTracker::setInterval(uint32_t seconds) {
  internal_->gate->standard([&] { return formatPosix("[ZV]: setInterval: %d", asSigned32(seconds)); });
  // Only the period to return to: the running one changes on the next view or return.
  internal_->initialInterval = seconds;
}

void ZVTracker::Internal::dwellTick() {
  std::lock_guard lock(monitor);
  if (!sendingPings || !dwellTimer) return;
  ++dwellTime;
  ++lastInterval;
  engagement.countEngagedSecond();
  // Equality on purpose: a period that shrank below the seconds already counted (after a
  // return to the foreground) waits for the next view instead of pinging at once.
  if (lastInterval == interval) {
    tick();
    lastInterval = 0;
  }
  measurement.updateMaxScrollLocation(view.get());
}

ZVPing::TrackArguments ZVTracker::Internal::gatherPingArguments(bool isNew, bool fromDecay) {
  ZVPing::TrackArguments a;
  a.trackAccountID = uid;
  a.firstPing = fromDecay ? true : firstPing;
  a.domain = domain ? domain : appid;
  a.subDomain = subDomain ? subDomain : appid;
  a.path = viewId;
  a.title = title;
  a.new_ = isNew;
  a.decay = kDecayValue;
  a.userToken = userToken;
  a.sessionToken = sessionToken;
  a.dwellTime = dwellTime;
  const View* shown = view.get();
  a.contentHeight = measurement.pointsToPixels(measurement.getContentHeight(shown));
  a.contentWidth = measurement.pointsToPixels(measurement.getContentWidth(shown));
  a.scrollPosition = measurement.pointsToPixels(measurement.isScrollView(shown) ? measurement.getContentOffset(shown).y : 0.0);
  a.maxScrollPosition = measurement.maxScrollPositionInPixels();
  if (!fromDecay && firstPing) a.lastPath = lastId ? *lastId : std::string();
  else a.lastPath = std::string();
  a.authors = authors;
  a.sections = sections;
  a.zones = zones;
  a.appReferrer = appReferrer;
  a.appid = appid;
  a.userAgent = userAgent;
  a.screenHeight = static_cast<float>(measurement.pointsToPixels(measurement.getScreenHeight()));
  a.screenWidth = static_cast<float>(measurement.pointsToPixels(measurement.getScreenWidth()));
  a.location = location;
  a.frequency = userReturnFrequencyHex;
  a.userRead = engagement.userReadSinceLastPing();
  a.userWrote = engagement.userWroteSinceLastPing();
  a.engagedSeconds = engagement.engagedSeconds();
  a.engagedSecondsSinceLastPing = engagement.engagedSecondsSinceLastPing();
  a.pingEndpointVersion = static_cast<uint32_t>(kZVPingEndpointVersion);
  a.sdkVersion = std::string(kZelvoSDKVersion);
  a.siteVisitDepth = getSiteVisitDepth();
  a.siteVisitReferrer = getSiteVisitReferrer();
  a.siteVisitUid = getSiteVisitId();
  a.subscriptionState = subscriptionState;
  a.previousSessionToken = previousSessionToken;
  a.idSync = idSync;
  return a;
}

void ZVTracker::Internal::tick() {
  gate->initializationTime([&] {
    return formatPosix("[ZV]:************************************************ ZVTracker initialization time: %f ms",
                       initializationTime);
  });
  if (!sendingPings) return;
  // Asked before the network test, so also when no ping follows.
  const bool isNew = isUserNew();
  if (!reachability || reachability->currentReachabilityStatus() == 0) {
    // Nothing is reset: the next ping that goes out carries what was counted meanwhile.
    gate->standard([] { return std::string("[ZV]:Offline, not pinging"); });
    return;
  }
  gate->standard([&] {
    return formatPosix("[ZV]:Tick interval: %d, dwell: %d", asSigned32(interval), asSigned32(dwellTime));
  });
  ZVPing::TrackArguments arguments = gatherPingArguments(isNew, false);
  if (ping) ping->trackAccountID(arguments);
  engagement.resetPerPingEngagementMetrics();
  firstPing = false;
  lastId = viewId;
  if (!active && interval < kDoublingCeiling) interval *= 2;
}

void ZVTracker::Internal::decayPing() {
  if (!sendingPings) return;
  ZVPing::TrackArguments arguments = gatherPingArguments(isUserNew(), true);
  if (ping) ping->trackAccountID(arguments);
  engagement.resetPerPingEngagementMetrics();
}

}  // namespace zelvo
