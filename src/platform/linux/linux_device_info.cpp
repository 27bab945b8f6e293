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

LinuxDeviceInfo::LinuxDeviceInfo() : HostDeviceInfo(defaultModelName(), defaultApplicationIdentifier()) {}

// Hosts built against 1.0 allocate LinuxDeviceInfo (as LinuxPlatform's member) and call these
// by this class's name: its size and these symbols are part of libzelvo.so.1.
#if defined(__x86_64__) && defined(__GLIBCXX__)
static_assert(sizeof(LinuxDeviceInfo) == 120, "LinuxDeviceInfo must keep the size of libzelvo 1.0");
#endif
std::string LinuxDeviceInfo::modelName() const { return HostDeviceInfo::modelName(); }
std::optional<std::string> LinuxDeviceInfo::applicationIdentifier() const { return HostDeviceInfo::applicationIdentifier(); }
void LinuxDeviceInfo::setModelName(std::string modelName) { HostDeviceInfo::setModelName(std::move(modelName)); }
void LinuxDeviceInfo::setApplicationIdentifier(std::optional<std::string> identifier) {
  HostDeviceInfo::setApplicationIdentifier(std::move(identifier));
}

}  // namespace zelvo::linux_platform
