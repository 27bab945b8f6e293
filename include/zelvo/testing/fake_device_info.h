#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "zelvo/platform/device_info.h"
#include "zelvo/export.h"

namespace zelvo::testing {

class ZELVO_EXPORT FakeDeviceInfo : public DeviceInfo {
 public:
  std::string modelName() const override;
  std::optional<std::string> applicationIdentifier() const override;
  void setModelName(std::string model);
  void setApplicationIdentifier(std::optional<std::string> identifier);

 private:
  mutable std::mutex mutex_;
  std::string model_ = "iPhone";
  std::optional<std::string> identifier_ = "com.example.app";
};

}  // namespace zelvo::testing
