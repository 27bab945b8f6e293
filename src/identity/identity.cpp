#include "identity/identity.h"

#include "identity/tokens.h"
#include "zelvo/constants.h"

namespace zelvo {

std::string Identity::generateUUID() { return zelvo::generateUUID(platform_.uuidSource(), &gate_); }
std::string Identity::generateUserToken() { return zelvo::generateUserToken(platform_.uuidSource(), &gate_); }
std::string Identity::generateSessionToken() { return zelvo::generateSessionToken(platform_.uuidSource(), &gate_); }
std::string Identity::createSessionToken() { return zelvo::createSessionToken(platform_.uuidSource(), &gate_); }

void Identity::restoreUserToken() {
  KeyValueStore* store = platform_.store();
  if (store) {
    std::optional<Value> stored = store->get(kZVPersistenTokenKey);
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
    if (store) {
      store->set(kZVPersistenTokenKey, Value(*userToken_));
      store->synchronize();
    }
  }
}

void Identity::rotateSessionToken() {
  previousSessionToken_ = sessionToken_;
  sessionToken_ = generateSessionToken();
  gate_.standard([&] { return "[ZV]:Created sessionToken: " + *sessionToken_; });
}

}  // namespace zelvo
