#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "common/log_gate.h"
#include "zelvo/platform/platform.h"

namespace zelvo {

// The site visit: views from one referrer within thirty minutes of the visit's first view.
// Its id, depth, referrer and start time live in the store only, so a restarted application
// continues the visit; this component is the one code that reads or writes those keys.
//
// Thread: main. `platform` and `gate` must outlive this.
class SiteVisit {
 public:
  SiteVisit(Platform& platform, const LogGate& gate) : platform_(platform), gate_(gate) {}

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

 private:
  Platform& platform_;
  const LogGate& gate_;
};

}  // namespace zelvo
