#pragma once

#include <optional>
#include <string>

#include "common/log_gate.h"
#include "zelvo/platform/key_value_store.h"

namespace zelvo {

// The keys a ping reads, as the store takes them. They are too long for a string's inline
// buffer, so they are made once, not on every read; and never destroyed, so that a tracker
// going away late at exit can still use them.
struct StoreKeys {
  const std::string userFirstVisit;
  const std::string siteVisitUid;
  const std::string siteVisitDepth;
  const std::string siteVisitReferrer;
  const std::string siteVisitRefreshTime;
};
const StoreKeys& storeKeys();

// Typed reads of the library's own keys. A value of another type (a string where a date
// belongs, left by an older version or another program) reads as absent and is logged.
std::optional<double> storedDate(const KeyValueStore* store, const std::string& key, const LogGate& gate);
std::optional<std::string> storedString(const KeyValueStore* store, const std::string& key, const LogGate& gate);

}  // namespace zelvo
