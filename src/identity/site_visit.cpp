#include <limits>

#include "identity/stored_values.h"
#include "tracker/tracker_internal.h"
#include "zelvo/constants.h"

namespace zelvo {

// The site-visit writes are not synchronized: the store makes them durable by itself shortly.

void ZVTracker::Internal::storeSiteVisitId(const std::optional<std::string>& uid) {
  if (KeyValueStore* store = platform->store()) store->set(kSiteVisitUidKey, uid ? Value(*uid) : Value());
}

std::optional<std::string> ZVTracker::Internal::getSiteVisitId() const {
  return storedString(platform->store(), kSiteVisitUidKey, *gate);
}

void ZVTracker::Internal::storeSiteVisitDepth(int64_t depth) {
  if (KeyValueStore* store = platform->store()) store->set(kSiteVisitDepthKey, Value(depth));
}

int64_t ZVTracker::Internal::getSiteVisitDepth() const {
  KeyValueStore* store = platform->store();
  if (!store) return 0;
  std::optional<Value> depth = store->get(kSiteVisitDepthKey);
  return depth ? depth->longLongValue() : 0;
}

void ZVTracker::Internal::storeSiteVisitReferrer(const std::optional<std::string>& referrer) {
  if (KeyValueStore* store = platform->store()) store->set(kSiteVisitReferrerKey, referrer ? Value(*referrer) : Value());
}

std::optional<std::string> ZVTracker::Internal::getSiteVisitReferrer() const {
  return storedString(platform->store(), kSiteVisitReferrerKey, *gate);
}

void ZVTracker::Internal::storeSiteVisitRefreshTime(double date) {
  if (KeyValueStore* store = platform->store()) store->set(kSiteVisitRefreshTimeKey, Value(Date{date}));
}

std::optional<double> ZVTracker::Internal::getSiteVisitRefreshTime() const {
  return storedDate(platform->store(), kSiteVisitRefreshTimeKey, *gate);
}

bool ZVTracker::Internal::hasSiteVisitExpired() const {
  std::optional<double> start = getSiteVisitRefreshTime();
  return !start || platform->clock().now() - *start > static_cast<double>(kSecondsToTrackSiteVisit);
}

void ZVTracker::Internal::trackSiteVisit(const std::optional<std::string>& referrer) {
  const std::string ref = referrer.value_or(std::string());
  std::optional<std::string> stored = getSiteVisitReferrer();
  if ((!stored || *stored == ref) && !hasSiteVisitExpired()) {
    // Continuing views never move the start: a visit lasts thirty minutes from its first view.
    const int64_t depth = getSiteVisitDepth();
    storeSiteVisitDepth(depth == std::numeric_limits<int64_t>::max() ? depth : depth + 1);
    return;
  }
  storeSiteVisitDepth(1);
  storeSiteVisitReferrer(ref);
  storeSiteVisitId(generateSiteVisitUid());
  storeSiteVisitRefreshTime(platform->clock().now());
}

}  // namespace zelvo
