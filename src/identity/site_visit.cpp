#include <limits>

#include "identity/stored_values.h"
#include "identity/site_visit.h"
#include "identity/tokens.h"
#include "zelvo/constants.h"

namespace zelvo {

std::string SiteVisit::generateSiteVisitUid() { return zelvo::generateSiteVisitUid(platform_.uuidSource(), &gate_); }

// The site-visit writes are not synchronized: the store makes them durable by itself shortly.

void SiteVisit::storeSiteVisitId(const std::optional<std::string>& uid) {
  if (KeyValueStore* store = platform_.store()) store->set(kSiteVisitUidKey, uid ? Value(*uid) : Value());
}

std::optional<std::string> SiteVisit::getSiteVisitId() const {
  return storedString(platform_.store(), kSiteVisitUidKey, gate_);
}

void SiteVisit::storeSiteVisitDepth(int64_t depth) {
  if (KeyValueStore* store = platform_.store()) store->set(kSiteVisitDepthKey, Value(depth));
}

int64_t SiteVisit::getSiteVisitDepth() const {
  KeyValueStore* store = platform_.store();
  if (!store) return 0;
  std::optional<Value> depth = store->get(kSiteVisitDepthKey);
  return depth ? depth->longLongValue() : 0;
}

void SiteVisit::storeSiteVisitReferrer(const std::optional<std::string>& referrer) {
  if (KeyValueStore* store = platform_.store()) store->set(kSiteVisitReferrerKey, referrer ? Value(*referrer) : Value());
}

std::optional<std::string> SiteVisit::getSiteVisitReferrer() const {
  return storedString(platform_.store(), kSiteVisitReferrerKey, gate_);
}

void SiteVisit::storeSiteVisitRefreshTime(double date) {
  if (KeyValueStore* store = platform_.store()) store->set(kSiteVisitRefreshTimeKey, Value(Date{date}));
}

std::optional<double> SiteVisit::getSiteVisitRefreshTime() const {
  return storedDate(platform_.store(), kSiteVisitRefreshTimeKey, gate_);
}

bool SiteVisit::hasSiteVisitExpired() const {
  std::optional<double> start = getSiteVisitRefreshTime();
  return !start || platform_.clock().now() - *start > static_cast<double>(kSecondsToTrackSiteVisit);
}

void SiteVisit::trackSiteVisit(const std::optional<std::string>& referrer) {
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
  storeSiteVisitRefreshTime(platform_.clock().now());
}

}  // namespace zelvo
