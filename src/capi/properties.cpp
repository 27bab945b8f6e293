// The C API's descriptive properties and privacy controls of the tracker.
#include "capi/arguments.h"
#include "capi/handles.h"

using zelvo::capi::act;
using zelvo::capi::guarded;

namespace {

using ListSetter = void (zelvo::ZVTracker::*)(zelvo::ZVTracker::StringList);
using TextSetter = void (zelvo::ZVTracker::*)(std::optional<std::string>);

zelvo_error setList(zelvo_tracker* tracker, const char* const* items, size_t count, ListSetter setter) noexcept {
  return guarded([&] {
    if (!tracker) return ZELVO_ERROR_NULL_ARGUMENT;
    zelvo::ZVTracker::StringList list;
    if (const zelvo_error error = zelvo::capi::readList(items, count, list); error != ZELVO_OK) return error;
    ((*tracker->tracker).*setter)(std::move(list));
    return ZELVO_OK;
  });
}

zelvo_error setText(zelvo_tracker* tracker, const char* text, TextSetter setter) noexcept {
  return guarded([&] {
    if (!tracker) return ZELVO_ERROR_NULL_ARGUMENT;
    std::optional<std::string> value;
    if (const zelvo_error error = zelvo::capi::readText(text, value); error != ZELVO_OK) return error;
    ((*tracker->tracker).*setter)(std::move(value));
    return ZELVO_OK;
  });
}

}  // namespace

extern "C" {

zelvo_error zelvo_tracker_set_sections(zelvo_tracker* tracker, const char* const* items, size_t count) {
  return setList(tracker, items, count, &zelvo::ZVTracker::setSections);
}

zelvo_error zelvo_tracker_set_authors(zelvo_tracker* tracker, const char* const* items, size_t count) {
  return setList(tracker, items, count, &zelvo::ZVTracker::setAuthors);
}

zelvo_error zelvo_tracker_set_zones(zelvo_tracker* tracker, const char* const* items, size_t count) {
  return setList(tracker, items, count, &zelvo::ZVTracker::setZones);
}

zelvo_error zelvo_tracker_set_domain(zelvo_tracker* tracker, const char* domain) {
  return setText(tracker, domain, &zelvo::ZVTracker::setDomain);
}

zelvo_error zelvo_tracker_set_app_referrer(zelvo_tracker* tracker, const char* referrer) {
  return setText(tracker, referrer, &zelvo::ZVTracker::setAppReferrer);
}

zelvo_error zelvo_tracker_set_push_referrer(zelvo_tracker* tracker, const char* push_id) {
  return setText(tracker, push_id, &zelvo::ZVTracker::setPushReferrer);
}

zelvo_error zelvo_tracker_set_subscription(zelvo_tracker* tracker, zelvo_subscription state) {
  if (!tracker) return ZELVO_ERROR_NULL_ARGUMENT;
  return guarded([&] {
    switch (zelvo::capi::fromC(state)) {
      case ZELVO_SUBSCRIPTION_ANONYMOUS: tracker->tracker->setUserAnonymous(); return ZELVO_OK;
      case ZELVO_SUBSCRIPTION_LOGGED_IN: tracker->tracker->setUserLoggedIn(); return ZELVO_OK;
      case ZELVO_SUBSCRIPTION_PAID: tracker->tracker->setUserPaid(); return ZELVO_OK;
    }
    return ZELVO_ERROR_INVALID_ARGUMENT;
  });
}

zelvo_error zelvo_tracker_set_id_sync(zelvo_tracker* tracker, const char* const* keys, const char* const* values,
                                      size_t count) {
  return guarded([&] {
    if (!tracker) return ZELVO_ERROR_NULL_ARGUMENT;
    zelvo::ZVTracker::StringList keyList, valueList;
    if (const zelvo_error error = zelvo::capi::readList(keys, count, keyList); error != ZELVO_OK) return error;
    if (const zelvo_error error = zelvo::capi::readList(values, count, valueList); error != ZELVO_OK) return error;
    if (keyList.has_value() != valueList.has_value()) return ZELVO_ERROR_NULL_ARGUMENT;
    std::optional<zelvo::Value> idSync;
    if (keyList) {
      zelvo::Value::Dictionary pairs;
      for (size_t i = 0; i < count; ++i) pairs[(*keyList)[i]] = zelvo::Value(std::move((*valueList)[i]));
      idSync = zelvo::Value(std::move(pairs));
    }
    tracker->tracker->setIdSync(std::move(idSync));
    return ZELVO_OK;
  });
}

zelvo_error zelvo_tracker_set_collection_enabled(zelvo_tracker* tracker, int enabled) {
  return act(tracker, [&](zelvo_tracker& t) { t.tracker->setCollectionEnabled(enabled != 0); });
}

zelvo_error zelvo_tracker_collection_enabled(zelvo_tracker* tracker, int* out) {
  return zelvo::capi::readInto(tracker, out, [](zelvo_tracker& t) { return t.tracker->collectionEnabled() ? 1 : 0; });
}

zelvo_error zelvo_tracker_erase_stored_data(zelvo_tracker* tracker) {
  return act(tracker, [](zelvo_tracker& t) { t.tracker->eraseStoredData(); });
}

}  // extern "C"
