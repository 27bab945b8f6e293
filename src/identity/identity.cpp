#include "identity/identity.h"

#include "identity/tokens.h"
#include "zelvo/constants.h"

namespace zelvo {

std::string Identity::generateUUID() { return zelvo::generateUUID(uuids_, &gate_); }
std::string Identity::generateUserToken() { return zelvo::generateUserToken(uuids_, &gate_); }
std::string Identity::generateSessionToken() { return zelvo::generateSessionToken(uuids_, &gate_); }
std::string Identity::createSessionToken() { return zelvo::createSessionToken(uuids_, &gate_); }

void Identity::restoreUserToken() {
  std::optional<Value> stored = store_ ? store_->get(kZVPersistenTokenKey) : std::nullopt;
  if (store_) {
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
    if (store_) {
      // Another process of the application may be starting on the same new store: the store
      // keeps one token, and both use it.
      if (stored) store_->remove(kZVPersistenTokenKey);
      const Value kept = store_->setIfAbsent(kZVPersistenTokenKey, Value(minted));
      if (const std::string* text = kept.asString()) userToken_ = *text;
      store_->synchronize();
    }
    if (*userToken_ == minted) gate_.standard([&] { return "[ZV]:Created userToken: " + *userToken_; });
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
