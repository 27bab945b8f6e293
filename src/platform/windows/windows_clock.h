#pragma once

#include "zelvo/platform/clock.h"

namespace zelvo::windows_platform {

// The system's wall clock at its finest resolution. Thread: any.
class WindowsClock : public Clock {
 public:
  double now() const override;
};

}  // namespace zelvo::windows_platform
