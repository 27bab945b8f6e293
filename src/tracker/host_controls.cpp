// The host's controls over collection and its view of how the pings fare.
#include <array>

#include "tracker/main_thread.h"
#include "tracker/tracker_internal.h"
#include "zelvo/constants.h"

namespace zelvo {

void ZVTracker::setCollectionEnabled(bool enabled) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setCollectionEnabled, enabled)) return;
  internal_->gate->standard([&] { return std::string("[ZV]:Collection ") + (enabled ? "on" : "off"); });
  internal_->collection->setEnabled(enabled);
}

bool ZVTracker::collectionEnabled() const { return internal_->collection->enabled(); }

void ZVTracker::eraseStoredData() {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::eraseStoredData)) return;
  Internal& in = *internal_;
  stopTracker();
  const std::array<const char*, 8> readerKeys = {
      kZVPersistenTokenKey, kZVUserVisitTrackingKey, kZVUserFirstVisitTrackingKey, kZVAppOpenDatesKey,
      kSiteVisitUidKey,     kSiteVisitDepthKey,      kSiteVisitReferrerKey,        kSiteVisitRefreshTimeKey,
  };
  for (const char* key : readerKeys) in.collection->erase(key);
  in.collection->synchronize();
  // The mask in memory described the erased reader; the new one opens the application now
  // (recorded only while collection is on).
  in.identity.updateUserReturnFrequency();
}

ZVStatus ZVTracker::pingStatus() const { return internal_->pingStatus->snapshot(); }

// Both act at once from any thread: the status has a lock of its own.
void ZVTracker::setPingOutcomeCallback(ZVPingOutcomeCallback callback) {
  internal_->pingStatus->setCallback(std::move(callback));
}

}  // namespace zelvo
