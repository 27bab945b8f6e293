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
  std::optional<Value> stored = store ? store->get(kZVPersistenTokenKey) : std::nullopt;
  if (store) {
    if (stored && stored->asString()) {
      userToken_ = *stored->asString();
    } else {
      if (stored) gate_.standard([] { return std::string("[ZV]:Ignoring a stored userToken that is not text"); });
      userToken_.reset();
    }
  }
  if (!userToken_) {
    const std::string minted = generateUserToken();
    userToken_ = minted;
    if (store) {
      // Another process of the application may be starting on the same new store: the store
      // keeps one token, and both use it.
      if (stored) store->remove(kZVPersistenTokenKey);
      const Value kept = store->setIfAbsent(kZVPersistenTokenKey, Value(minted));
      if (const std::string* text = kept.asString()) userToken_ = *text;
      store->synchronize();
    }
    if (*userToken_ == minted) gate_.standard([&] { return "[ZV]:Created userToken: " + *userToken_; });
  }
}

void Identity::rotateSessionToken() {
  previousSessionToken_ = sessionToken_;
  sessionToken_ = generateSessionToken();
  gate_.standard([&] { return "[ZV]:Created sessionToken: " + *sessionToken_; });
}

}  // namespace zelvo
