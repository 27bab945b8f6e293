#include "engagement/engagement.h"

#include "zelvo/constants.h"

namespace zelvo {

void Engagement::loadEngagementWindow() {
  std::optional<Value> stored;
  if (store_) stored = store_->get(kZVEngagementWindowKey);
  engagementWindow_ = stored ? stored->unsignedIntValue() : static_cast<uint32_t>(kZVDefaultEngagementWindow);
}

void Engagement::updateEngagementWindow(const std::shared_ptr<const Value>& config) {
  if (!config) return;
  const Value* window = config->find(kZelvoConfigEngagementWindowKey);
  if (!window || !window->isNumber()) return;
  const uint32_t seconds = window->unsignedIntValue();
  if (seconds == 0) return;
  engagementWindow_ = seconds;
  // The number is kept as it came (7.9 stays 7.9); the next launch reads its whole part.
  if (store_) {
    store_->set(kZVEngagementWindowKey, *window);
    store_->synchronize();
  }
}

void Engagement::userEngaged(bool typing) {
  // The credit is replaced, never added to: many touches in one second give one window.
  remainingEngagedSeconds_ = engagementWindow_;
  if (typing) {
    userWroteSinceLastPing_ = true;
  } else {
    userReadSinceLastPing_ = true;
  }
}

void Engagement::countEngagedSecond() {
  // The only place engaged time is counted: one second of credit per heartbeat.
  if (remainingEngagedSeconds_ == 0) return;
  --remainingEngagedSeconds_;
  ++engagedSeconds_;
  ++engagedSecondsSinceLastPing_;
}

void Engagement::resetPerPingEngagementMetrics() {
  userWroteSinceLastPing_ = false;
  userReadSinceLastPing_ = false;
  // The remaining credit carries over into the next period.
  engagedSecondsSinceLastPing_ = 0;
}

void Engagement::resetEngagementMetrics() {
  resetPerPingEngagementMetrics();
  engagedSeconds_ = 0;
  remainingEngagedSeconds_ = 0;
}

}  // namespace zelvo
