#include "identity/tokens.h"
#include "tracker/tracker_internal.h"

namespace zelvo {

std::string ZVTracker::Internal::generateUUID() { return zelvo::generateUUID(platform->uuidSource(), gate.get()); }
std::string ZVTracker::Internal::generateUserToken() { return zelvo::generateUserToken(platform->uuidSource(), gate.get()); }
std::string ZVTracker::Internal::generateSessionToken() {
  return zelvo::generateSessionToken(platform->uuidSource(), gate.get());
}
std::string ZVTracker::Internal::generateSiteVisitUid() {
  return zelvo::generateSiteVisitUid(platform->uuidSource(), gate.get());
}
std::string ZVTracker::Internal::createSessionToken() {
  return zelvo::createSessionToken(platform->uuidSource(), gate.get());
}

}  // namespace zelvo
