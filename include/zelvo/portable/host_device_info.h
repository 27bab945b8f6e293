#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "zelvo/platform/device_info.h"
#include "zelvo/export.h"

namespace zelvo::portable {

// Device facts a desktop platform reads once from the system and the host may replace (a
// reverse-DNS identifier, say) before starting the tracker.
// Thread: every member is safe from any thread.
class ZELVO_EXPORT HostDeviceInfo : public DeviceInfo {
 public:
  HostDeviceInfo(std::string modelName, std::optional<std::string> applicationIdentifier);

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

}  // namespace zelvo::portable
