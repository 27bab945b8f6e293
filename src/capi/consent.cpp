// The C API's consent: the platform option and the tracker's answer.
#include "capi/arguments.h"
#include "capi/handles.h"

using zelvo::capi::act;
using zelvo::capi::readInto;

namespace {

zelvo_consent toC(zelvo::ConsentState state) {
  switch (state) {
    case zelvo::ConsentState::kGiven: return ZELVO_CONSENT_GIVEN;
    case zelvo::ConsentState::kRevoked: return ZELVO_CONSENT_REVOKED;
    case zelvo::ConsentState::kUnknown: break;
  }
  return ZELVO_CONSENT_UNKNOWN;
}

}  // namespace

extern "C" {

zelvo_error zelvo_options_set_consent_required(zelvo_options* options, int required) {
  return act(options, [&](zelvo_options& o) { o.options.consentRequired = required != 0; });
}

zelvo_error zelvo_tracker_consent_required(zelvo_tracker* tracker, int* out) {
  return readInto(tracker, out, [](zelvo_tracker& t) { return t.tracker->consentRequired() ? 1 : 0; });
}

zelvo_error zelvo_tracker_give_consent(zelvo_tracker* tracker) {
  return act(tracker, [](zelvo_tracker& t) { t.tracker->giveConsent(); });
}

zelvo_error zelvo_tracker_revoke_consent(zelvo_tracker* tracker, int erase_stored_data) {
  return act(tracker, [&](zelvo_tracker& t) { t.tracker->revokeConsent(erase_stored_data != 0); });
}

zelvo_error zelvo_tracker_consent_state(zelvo_tracker* tracker, zelvo_consent* out) {
  return readInto(tracker, out, [](zelvo_tracker& t) { return toC(t.tracker->consentState()); });
}

}  // extern "C"
