#include "zelvo/portable/host_device_info.h"

#include <utility>

namespace zelvo::portable {

HostDeviceInfo::HostDeviceInfo(std::string modelName, std::optional<std::string> applicationIdentifier)
    : modelName_(std::move(modelName)), applicationIdentifier_(std::move(applicationIdentifier)) {}

std::string HostDeviceInfo::modelName() const {
  std::lock_guard lock(mutex_);
  return modelName_;
}

std::optional<std::string> HostDeviceInfo::applicationIdentifier() const {
  std::lock_guard lock(mutex_);
  return applicationIdentifier_;
}

void HostDeviceInfo::setModelName(std::string modelName) {
  std::lock_guard lock(mutex_);
  modelName_ = std::move(modelName);
}

void HostDeviceInfo::setApplicationIdentifier(std::optional<std::string> identifier) {
  std::lock_guard lock(mutex_);
  applicationIdentifier_ = std::move(identifier);
}

}  // namespace zelvo::portable
