// The host's controls over collection and its view of how the pings fare.
#include "tracker/main_thread.h"
#include "tracker/tracker_internal.h"

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
  in.identity.erase();
  in.siteVisit.erase();
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
