#include "identity/identity.h"

#include "identity/tokens.h"
#include "zelvo/constants.h"

namespace zelvo {

std::string Identity::generateUUID() { return zelvo::generateUUID(uuids_, &gate_); }
std::string Identity::generateUserToken() { return zelvo::generateUserToken(uuids_, &gate_); }
std::string Identity::generateSessionToken() { return zelvo::generateSessionToken(uuids_, &gate_); }
std::string Identity::createSessionToken() { return zelvo::createSessionToken(uuids_, &gate_); }

void Identity::restoreUserToken() {
  if (store_) {
    std::optional<Value> stored = store_->get(kZVPersistenTokenKey);
    if (stored && stored->asString()) {
      userToken_ = *stored->asString();
    } else {
      if (stored) gate_.standard([] { return std::string("[ZV]:Ignoring a stored userToken that is not text"); });
      userToken_.reset();
    }
  }
  if (!userToken_) {
    userToken_ = generateUserToken();
    gate_.standard([&] { return "[ZV]:Created userToken: " + *userToken_; });
    if (store_) {
      store_->set(kZVPersistenTokenKey, Value(*userToken_));
      store_->synchronize();
    }
  }
}

void Identity::erase() {
  if (!store_) return;
  for (const char* key : {kZVPersistenTokenKey, kZVUserVisitTrackingKey, kZVUserFirstVisitTrackingKey, kZVAppOpenDatesKey}) {
    store_->remove(key);
  }
}

void Identity::rotateSessionToken() {
  previousSessionToken_ = sessionToken_;
  sessionToken_ = generateSessionToken();
  gate_.standard([&] { return "[ZV]:Created sessionToken: " + *sessionToken_; });
}

}  // namespace zelvo
