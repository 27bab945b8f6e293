#include "identity/stored_values.h"

#include "zelvo/constants.h"

namespace zelvo {
namespace {

void logUnexpected(const LogGate& gate, const std::string& key, const char* expected) {
  gate.standard([&] { return "[ZV]:Ignoring stored " + key + ": not a " + expected; });
}

}  // namespace

const StoreKeys& storeKeys() {
  static const StoreKeys* const keys = new StoreKeys{kZVUserFirstVisitTrackingKey, kSiteVisitUidKey, kSiteVisitDepthKey,
                                                     kSiteVisitReferrerKey, kSiteVisitRefreshTimeKey};
  return *keys;
}

std::optional<double> storedDate(const KeyValueStore* store, const std::string& key, const LogGate& gate) {
  if (!store) return std::nullopt;
  std::optional<Value> value = store->get(key);
  if (!value) return std::nullopt;
  if (const Date* date = value->asDate()) return date->seconds;
  logUnexpected(gate, key, "date");
  return std::nullopt;
}

std::optional<std::string> storedString(const KeyValueStore* store, const std::string& key, const LogGate& gate) {
  if (!store) return std::nullopt;
  std::optional<Value> value = store->get(key);
  if (!value) return std::nullopt;
  if (const std::string* text = value->asString()) return *text;
  logUnexpected(gate, key, "string");
  return std::nullopt;
}

}  // namespace zelvo
