#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "common/log_gate.h"
#include "zelvo/platform/clock.h"
#include "zelvo/platform/key_value_store.h"
#include "zelvo/platform/uuid_source.h"

namespace zelvo {

// The site visit: views from one referrer within thirty minutes of the visit's first view.
// Its id, depth, referrer and start time live in the store only, so a restarted application
// continues the visit; this component is the one code that reads or writes those keys.
//
// Thread: main. `store` may be null (nothing is kept); every argument must outlive this.
class SiteVisit {
 public:
  SiteVisit(KeyValueStore* store, Clock& clock, UuidSource& uuids, const LogGate& gate)
      : store_(store), clock_(clock), uuids_(uuids), gate_(gate) {}

  // Counts a view: a deeper visit, or a new one when the referrer changed or the visit expired.
  void trackSiteVisit(const std::optional<std::string>& referrer);

  std::string generateSiteVisitUid();
  void storeSiteVisitId(const std::optional<std::string>& uid);
  std::optional<std::string> getSiteVisitId() const;
  void storeSiteVisitDepth(int64_t depth);
  int64_t getSiteVisitDepth() const;
  void storeSiteVisitReferrer(const std::optional<std::string>& referrer);
  std::optional<std::string> getSiteVisitReferrer() const;
  void storeSiteVisitRefreshTime(double date);
  std::optional<double> getSiteVisitRefreshTime() const;
  bool hasSiteVisitExpired() const;
  // Removes the visit from the store (also while collection is off).
  void erase();

 private:
  KeyValueStore* const store_;
  Clock& clock_;
  UuidSource& uuids_;
  const LogGate& gate_;
};

}  // namespace zelvo
