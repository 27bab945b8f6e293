#pragma once

#include <optional>
#include <string>

#include "zelvo/portable/host_device_info.h"
#include "zelvo/export.h"

namespace zelvo::linux_platform {

// Device facts on Linux. The model name defaults to the machine's product name from the
// firmware (/sys/devices/virtual/dmi/id/product_name) or "Linux" when that cannot be read;
// the application identifier defaults to the running program's file name. A host sets its
// own (a reverse-DNS identifier, say) before starting the tracker.
// Thread: every member is safe from any thread.
class ZELVO_EXPORT LinuxDeviceInfo : public portable::HostDeviceInfo {
 public:
  LinuxDeviceInfo();

  // HostDeviceInfo's, under the names libzelvo 1.0 exported for hosts built against it.
  std::string modelName() const override;
  std::optional<std::string> applicationIdentifier() const override;
  void setModelName(std::string modelName);
  void setApplicationIdentifier(std::optional<std::string> identifier);
};

}  // namespace zelvo::linux_platform
