#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "zelvo/platform/device_info.h"
#include "zelvo/export.h"

namespace zelvo::linux_platform {

// Device facts on Linux. The model name defaults to the machine's product name from the
// firmware (/sys/devices/virtual/dmi/id/product_name) or "Linux" when that cannot be read;
// the application identifier defaults to the running program's file name. A host sets its
// own (a reverse-DNS identifier, say) before starting the tracker.
// Thread: every member is safe from any thread.
class ZELVO_EXPORT LinuxDeviceInfo : public DeviceInfo {
 public:
  LinuxDeviceInfo();

  std::string modelName() const override;
  std::optional<std::string> applicationIdentifier() const override;

  void setModelName(std::string modelName);
  // Nothing means the application has no identifier.
  void setApplicationIdentifier(std::optional<std::string> identifier);

 private:
  mutable std::mutex mutex_;
  std::string modelName_;                               // guarded by mutex_
  std::optional<std::string> applicationIdentifier_;    // guarded by mutex_
};

}  // namespace zelvo::linux_platform
