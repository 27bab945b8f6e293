#include "privacy/collection_gate.h"

#include <string_view>
#include <utility>

namespace zelvo {

class CollectionGate::GatedStore : public KeyValueStore {
 public:
  GatedStore(KeyValueStore& store, std::shared_ptr<std::atomic<bool>> enabled)
      : store_(store), enabled_(std::move(enabled)) {}
  std::optional<Value> get(const std::string& key) const override { return store_.get(key); }
  void set(const std::string& key, Value value) override {
    if (enabled_->load()) store_.set(key, std::move(value));
  }
  // Erasing is always allowed: it keeps nothing new.
  void remove(const std::string& key) override { store_.remove(key); }
  bool synchronize() override { return store_.synchronize(); }
  Value setIfAbsent(const std::string& key, Value value) override {
    if (enabled_->load()) return store_.setIfAbsent(key, std::move(value));
    return get(key).value_or(std::move(value));
  }

 private:
  KeyValueStore& store_;
  const std::shared_ptr<std::atomic<bool>> enabled_;
};

class CollectionGate::GatedHttpClient : public HttpClient {
 public:
  GatedHttpClient(HttpClient& http, std::shared_ptr<std::atomic<bool>> enabled)
      : http_(http), enabled_(std::move(enabled)) {}
  void startGet(HttpRequest request, HttpCompletion done) override {
    if (enabled_->load()) return http_.startGet(std::move(request), std::move(done));
    done(HttpError{"not sent: collection is off", request.url});
  }
  std::optional<std::string> fetch(const std::string& url) override {
    if (!enabled_->load()) return std::nullopt;
    return http_.fetch(url);
  }
  bool acceptsUrl(std::string_view url) const override { return http_.acceptsUrl(url); }

 private:
  HttpClient& http_;
  const std::shared_ptr<std::atomic<bool>> enabled_;
};

CollectionGate::CollectionGate(std::shared_ptr<Platform> platform)
    : platform_(std::move(platform)), enabled_(std::make_shared<std::atomic<bool>>(true)) {
  if (KeyValueStore* store = platform_->store()) {
    if (std::optional<Value> stored = store->get(kCollectionEnabledKey)) {
      if (const std::optional<bool> on = stored->asBool()) enabled_->store(*on);
    }
    store_ = std::make_unique<GatedStore>(*store, enabled_);
  }
  http_ = std::make_unique<GatedHttpClient>(platform_->httpClient(), enabled_);
}

CollectionGate::~CollectionGate() = default;

void CollectionGate::setEnabled(bool enabled) {
  enabled_->store(enabled);
  if (KeyValueStore* store = platform_->store()) {
    store->set(kCollectionEnabledKey, Value(enabled));
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
