#include "platform/linux/netlink_target.h"

namespace zelvo::linux_platform {

bool NetlinkTarget::setCallback(std::function<void()> onChange) {
  std::lock_guard lock(state_->mutex);
  state_->callback = std::move(onChange);
  return true;
}

}  // namespace zelvo::linux_platform
