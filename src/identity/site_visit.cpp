#include <limits>

#include "identity/stored_values.h"
#include "identity/site_visit.h"
#include "identity/tokens.h"
#include "zelvo/constants.h"

namespace zelvo {

std::string SiteVisit::generateSiteVisitUid() { return zelvo::generateSiteVisitUid(uuids_, &gate_); }

// The site-visit writes are not synchronized: the store makes them durable by itself shortly.

void SiteVisit::storeSiteVisitId(const std::optional<std::string>& uid) {
  if (store_) store_->set(storeKeys().siteVisitUid, uid ? Value(*uid) : Value());
}

std::optional<std::string> SiteVisit::getSiteVisitId() const {
  return storedString(store_, storeKeys().siteVisitUid, gate_);
}

void SiteVisit::storeSiteVisitDepth(int64_t depth) {
  if (store_) store_->set(storeKeys().siteVisitDepth, Value(depth));
}

int64_t SiteVisit::getSiteVisitDepth() const {
  if (!store_) return 0;
  std::optional<Value> depth = store_->get(storeKeys().siteVisitDepth);
  return depth ? depth->longLongValue() : 0;
}

void SiteVisit::storeSiteVisitReferrer(const std::optional<std::string>& referrer) {
  if (store_) store_->set(storeKeys().siteVisitReferrer, referrer ? Value(*referrer) : Value());
}

std::optional<std::string> SiteVisit::getSiteVisitReferrer() const {
  return storedString(store_, storeKeys().siteVisitReferrer, gate_);
}

void SiteVisit::storeSiteVisitRefreshTime(double date) {
  if (store_) store_->set(storeKeys().siteVisitRefreshTime, Value(Date{date}));
}

std::optional<double> SiteVisit::getSiteVisitRefreshTime() const {
  return storedDate(store_, storeKeys().siteVisitRefreshTime, gate_);
}

bool SiteVisit::hasSiteVisitExpired() const {
  std::optional<double> start = getSiteVisitRefreshTime();
  return !start || clock_.now() - *start > static_cast<double>(kSecondsToTrackSiteVisit);
}

void SiteVisit::erase() {
  if (!store_) return;
  for (const char* key : {kSiteVisitUidKey, kSiteVisitDepthKey, kSiteVisitReferrerKey, kSiteVisitRefreshTimeKey}) {
    store_->remove(key);
  }
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
  storeSiteVisitRefreshTime(clock_.now());
}

}  // namespace zelvo
