#include "privacy/collection_gate.h"

#include <string_view>
#include <utility>

namespace zelvo {
namespace {

std::optional<bool> storedBool(const KeyValueStore& store, const char* key) {
  const std::optional<Value> stored = store.get(key);
  return stored ? stored->asBool() : std::nullopt;
}

}  // namespace

class CollectionGate::GatedStore : public SharedKeyValueStore {
 public:
  GatedStore(KeyValueStore& store, std::shared_ptr<const State> state) : store_(store), state_(std::move(state)) {}
  std::optional<Value> get(const std::string& key) const override { return store_.get(key); }
  void set(const std::string& key, Value value) override {
    if (state_->collecting()) store_.set(key, std::move(value));
  }
  // Erasing is always allowed: it keeps nothing new.
  void remove(const std::string& key) override { store_.remove(key); }
  bool synchronize() override { return store_.synchronize(); }
  Value setIfAbsent(const std::string& key, Value value) override {
    if (state_->collecting()) return zelvo::setIfAbsent(store_, key, std::move(value));
    return get(key).value_or(std::move(value));
  }

 private:
  KeyValueStore& store_;
  const std::shared_ptr<const State> state_;
};

class CollectionGate::GatedHttpClient : public HttpClient {
 public:
  GatedHttpClient(HttpClient& http, std::shared_ptr<const State> state) : http_(http), state_(std::move(state)) {}
  void startGet(HttpRequest request, HttpCompletion done) override {
    if (state_->collecting()) return http_.startGet(std::move(request), std::move(done));
    done(HttpError{state_->enabled.load() ? "not sent: no consent" : "not sent: collection is off", request.url});
  }
  std::optional<std::string> fetch(const std::string& url) override {
    if (!state_->collecting()) return std::nullopt;
    return http_.fetch(url);
  }
  bool acceptsUrl(std::string_view url) const override { return http_.acceptsUrl(url); }

 private:
  HttpClient& http_;
  const std::shared_ptr<const State> state_;
};

CollectionGate::CollectionGate(std::shared_ptr<Platform> platform)
    : platform_(std::move(platform)), state_(std::make_shared<State>(platform_->consentRequired())) {
  if (KeyValueStore* store = platform_->store()) {
    if (const std::optional<bool> on = storedBool(*store, kCollectionEnabledKey)) state_->enabled.store(*on);
    if (const std::optional<bool> given = storedBool(*store, kConsentGivenKey)) {
      state_->consent.store(*given ? ConsentState::kGiven : ConsentState::kRevoked);
    }
    store_ = std::make_unique<GatedStore>(*store, state_);
  }
  http_ = std::make_unique<GatedHttpClient>(platform_->httpClient(), state_);
}

CollectionGate::~CollectionGate() = default;

void CollectionGate::setEnabled(bool enabled) {
  state_->enabled.store(enabled);
  keep(kCollectionEnabledKey, enabled);
}

void CollectionGate::setConsent(bool given) {
  state_->consent.store(given ? ConsentState::kGiven : ConsentState::kRevoked);
  keep(kConsentGivenKey, given);
}

void CollectionGate::keep(const char* key, bool value) {
  if (KeyValueStore* store = platform_->store()) {
    store->set(key, Value(value));
    store->synchronize();
  }
}

bool CollectionGate::synchronize() {
  KeyValueStore* store = platform_->store();
  return store == nullptr || store->synchronize();
}

KeyValueStore* CollectionGate::store() { return store_.get(); }
HttpClient& CollectionGate::httpClient() { return *http_; }

}  // namespace zelvo
