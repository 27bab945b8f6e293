#pragma once

#include <optional>
#include <string>

#include "zelvo/export.h"

namespace zelvo {

// Facts about the device and the host application. Thread: any.
class ZELVO_EXPORT DeviceInfo {
 public:
  virtual ~DeviceInfo() = default;
  // The device's model name ("iPhone", "iPad", "Linux", ...).
  virtual std::string modelName() const = 0;
  // The application's identifier ("com.example.news"), or nothing when it has none.
  virtual std::optional<std::string> applicationIdentifier() const = 0;
};

}  // namespace zelvo
