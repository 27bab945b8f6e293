#pragma once

#include <optional>
#include <string>
#include <vector>

#include "zelvo/location.h"
#include "zelvo/value.h"

namespace zelvo {

// What the host says about the page the reader looks at and about the application, as it was
// set: the tracker keeps one of these, and each ping carries a copy of it. A new host-set key
// that the pings carry is a field here, its setter and getter in tracker/zv_tracker.cpp and its
// wire key in ping/track_call.cpp.
struct PageProperties {
  using StringList = std::optional<std::vector<std::string>>;

  std::optional<std::string> appid;
  // Without them, the pings name the application identifier instead.
  std::optional<std::string> domain;
  std::optional<std::string> subDomain;
  std::optional<std::string> viewId;
  std::optional<std::string> title;
  StringList sections;
  StringList authors;
  StringList zones;
  std::optional<std::string> appReferrer;
  std::optional<std::string> userAgent;
  std::optional<std::string> subscriptionState;
  std::optional<Location> location;
  std::optional<Value> idSync;  // a dictionary, or nothing
  // Kept and returned to the host, never sent: the public API offers both as the host's own
  // notes, and no ping key carries either.
  std::optional<std::string> suffix;
  std::optional<Value> extraParams;
};

}  // namespace zelvo
