#include "zelvo/linux/linux_device_info.h"

#include <fstream>

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

LinuxDeviceInfo::LinuxDeviceInfo() : HostDeviceInfo(defaultModelName(), defaultApplicationIdentifier()) {}

}  // namespace zelvo::linux_platform
