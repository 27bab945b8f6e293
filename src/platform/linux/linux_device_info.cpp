#include "zelvo/linux/linux_device_info.h"

#include <fstream>
#include <utility>

#include "platform/linux/executable_name.h"

namespace zelvo::linux_platform {
namespace {

std::string defaultModelName() {
  std::ifstream file("/sys/devices/virtual/dmi/id/product_name");
  std::string name;
  if (file) std::getline(file, name);
  while (!name.empty() && (name.back() == ' ' || name.back() == '\r' || name.back() == '\t')) name.pop_back();
  return name.empty() ? "Linux" : name;
}

std::optional<std::string> defaultApplicationIdentifier() {
  std::string name = executableName();
  if (name.empty()) return std::nullopt;
  return name;
}

}  // namespace

LinuxDeviceInfo::LinuxDeviceInfo()
    : modelName_(defaultModelName()), applicationIdentifier_(defaultApplicationIdentifier()) {}

std::string LinuxDeviceInfo::modelName() const {
  std::lock_guard lock(mutex_);
  return modelName_;
}

std::optional<std::string> LinuxDeviceInfo::applicationIdentifier() const {
  std::lock_guard lock(mutex_);
  return applicationIdentifier_;
}

void LinuxDeviceInfo::setModelName(std::string modelName) {
  std::lock_guard lock(mutex_);
  modelName_ = std::move(modelName);
}

void LinuxDeviceInfo::setApplicationIdentifier(std::optional<std::string> identifier) {
  std::lock_guard lock(mutex_);
  applicationIdentifier_ = std::move(identifier);
}

}  // namespace zelvo::linux_platform
