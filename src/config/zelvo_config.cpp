#include "zelvo/zelvo_config.h"

#include <string>

#include "common/log_gate.h"
#include "zelvo/constants.h"

namespace zelvo {
namespace {

// Until a fetch succeeds: a window of 5 seconds (the tracker's own starting value is 4).
constexpr int kDefaultConfigEngagementWindow = 5;

}  // namespace

ZelvoConfig::ZelvoConfig(std::shared_ptr<Platform> platform, std::shared_ptr<const LogGate> gate)
    : platform_(std::move(platform)), gate_(std::move(gate)) {}

std::shared_ptr<const Value> ZelvoConfig::getConfig() {
  std::lock_guard lock(mutex_);
  if (!config_) {
    config_ = std::make_shared<const Value>(Value::Dictionary{{kZelvoConfigEngagementWindowKey, Value(kDefaultConfigEngagementWindow)}});
  }
  return config_;
}

std::shared_ptr<const Value> ZelvoConfig::config() const {
  std::lock_guard lock(mutex_);
  return config_;
}

void ZelvoConfig::setConfig(std::shared_ptr<const Value> config) {
  std::lock_guard lock(mutex_);
  config_ = std::move(config);
}

void ZelvoConfig::updateConfigWithComplete(std::function<void(bool)> complete) {
  std::shared_ptr<ZelvoConfig> self = shared_from_this();
  platform_->backgroundExecutor().execute([self, complete = std::move(complete)]() mutable {
    std::optional<std::string> body = self->platform_->httpClient().fetch(kZelvoConfigURL);
    // No answer: nothing changes and nobody is told.
    if (!body) return;
    Value::ReadFailure failure = Value::ReadFailure::kMalformed;
    std::optional<Value> parsed = Value::fromJson(*body, &failure);
    // Text that is merely not JSON goes unlogged; nesting that deep is an attack or a broken
    // server, worth a line.
    if (!parsed && failure == Value::ReadFailure::kTooDeep && self->gate_) {
      self->gate_->error([] {
        return "[ZV]:The remote configuration nests deeper than " + std::to_string(Value::kMaxNesting) +
               " levels; keeping the current one";
      });
    }
    std::shared_ptr<const Value> dictionary;
    if (parsed && parsed->asDictionary()) dictionary = std::make_shared<const Value>(std::move(*parsed));
    self->platform_->mainRunLoop().post([self, dictionary, complete = std::move(complete)] {
      if (dictionary) self->setConfig(dictionary);
      if (complete) complete(dictionary != nullptr);
    });
  });
}

}  // namespace zelvo
