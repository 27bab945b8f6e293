#pragma once

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
};

}  // namespace zelvo::linux_platform
