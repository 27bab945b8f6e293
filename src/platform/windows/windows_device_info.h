#pragma once

#include <string>

#include "zelvo/portable/host_device_info.h"

namespace zelvo::windows_platform {

// Device facts on Windows. The model name defaults to the firmware's product name (as the
// registry keeps it) or "Windows"; the application identifier to the program's file name
// without ".exe". A host sets its own before starting the tracker.
// Thread: every member is safe from any thread.
class WindowsDeviceInfo : public portable::HostDeviceInfo {
 public:
  WindowsDeviceInfo();
};

// The running program's file name without its folder and ".exe"; empty when unknown.
std::string programName();

}  // namespace zelvo::windows_platform
