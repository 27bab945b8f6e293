#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "zelvo/platform/device_info.h"

namespace zelvo::windows_platform {

// Device facts on Windows. The model name defaults to the firmware's product name (as the
// registry keeps it) or "Windows"; the application identifier to the program's file name
// without ".exe". A host sets its own before starting the tracker.
// Thread: every member is safe from any thread.
class WindowsDeviceInfo : public DeviceInfo {
 public:
  WindowsDeviceInfo();

  std::string modelName() const override;
  std::optional<std::string> applicationIdentifier() const override;

  void setModelName(std::string modelName);
  // Nothing means the application has no identifier.
  void setApplicationIdentifier(std::optional<std::string> identifier);

 private:
  mutable std::mutex mutex_;
  std::string modelName_;                             // guarded by mutex_
  std::optional<std::string> applicationIdentifier_;  // guarded by mutex_
};

// The running program's file name without its folder and ".exe"; empty when unknown.
std::string programName();

}  // namespace zelvo::windows_platform
