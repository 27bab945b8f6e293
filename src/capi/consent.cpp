// The C API's consent: the platform option and the tracker's answer.
#include "capi/arguments.h"
#include "capi/handles.h"

using zelvo::capi::act;
using zelvo::capi::guarded;

extern "C" {

zelvo_error zelvo_options_set_consent_required(zelvo_options* options, int required) {
  return act(options, [&](zelvo_options& o) { o.options.consentRequired = required != 0; });
}

zelvo_error zelvo_tracker_consent_required(zelvo_tracker* tracker, int* out) {
  return guarded([&] {
    if (!tracker || !out) return ZELVO_ERROR_NULL_ARGUMENT;
    *out = tracker->tracker->consentRequired() ? 1 : 0;
    return ZELVO_OK;
  });
}

zelvo_error zelvo_tracker_give_consent(zelvo_tracker* tracker) {
  return act(tracker, [](zelvo_tracker& t) { t.tracker->giveConsent(); });
}

zelvo_error zelvo_tracker_revoke_consent(zelvo_tracker* tracker, int erase_stored_data) {
  return act(tracker, [&](zelvo_tracker& t) { t.tracker->revokeConsent(erase_stored_data != 0); });
}

zelvo_error zelvo_tracker_consent_state(zelvo_tracker* tracker, zelvo_consent* out) {
  return guarded([&] {
    if (!tracker || !out) return ZELVO_ERROR_NULL_ARGUMENT;
    switch (tracker->tracker->consentState()) {
      case zelvo::ConsentState::kUnknown: *out = ZELVO_CONSENT_UNKNOWN; break;
      case zelvo::ConsentState::kGiven: *out = ZELVO_CONSENT_GIVEN; break;
      case zelvo::ConsentState::kRevoked: *out = ZELVO_CONSENT_REVOKED; break;
    }
    return ZELVO_OK;
  });
}

}  // extern "C"
