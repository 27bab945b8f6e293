// The reader's consent: the answer lives in the collection gate; the tracker makes what it
// held back while the answer was awaited.
#include "tracker/main_thread.h"
#include "tracker/tracker_internal.h"

namespace zelvo {

bool ZVTracker::consentRequired() const { return internal_->collection->consentRequired(); }

// Read on the main thread, like the other getters, so that it sees the answers the host gave
// before it from any thread.
ConsentState ZVTracker::consentState() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->collection->consent(); });
}

void ZVTracker::giveConsent() {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::giveConsent)) return;
  Internal& in = *internal_;
  in.gate->standard([] { return std::string("[ZV]:Consent given"); });
  const bool wasAwaiting = in.collection->awaitingConsent();
  in.collection->setConsent(true);
  if (wasAwaiting) in.beginCollectingWithConsent();
}

void ZVTracker::revokeConsent(bool eraseStoredData) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::revokeConsent, eraseStoredData)) {
    return;
  }
  internal_->gate->standard([&] { return std::string("[ZV]:Consent revoked") + (eraseStoredData ? ", erasing" : ""); });
  internal_->collection->setConsent(false);
  if (!eraseStoredData) return;
  this->eraseStoredData();
  // Awaiting consent, nothing makes the next reader's token until the reader agrees again.
  if (internal_->collection->awaitingConsent()) internal_->identity.forgetUserToken();
}

void ZVTracker::Internal::beginCollectingWithConsent() {
  std::lock_guard lock(monitor);
  // The record of this opening, and the first visit of a reader who is new from now.
  identity.updateUserReturnFrequency();
  identity.remembeUserVisit();
  // A started tracker would have made the token at its start and the site visit at its view.
  if (status == 2) identity.restoreUserToken();
  if (view && viewAwaitedConsent) siteVisit.trackSiteVisit(page.appReferrer);
  viewAwaitedConsent = false;
  firstPing = true;
}

}  // namespace zelvo
