#pragma once

#include "zelvo/export.h"

namespace zelvo {

// The user's calendar in the current time zone.
// Thread: callable from any thread.
class ZELVO_EXPORT Calendar {
 public:
  virtual ~Calendar() = default;
  // Local midnight (start of the calendar day) of `instant`, both in seconds since
  // 2001-01-01T00:00:00Z. Days around a daylight-saving change are 23 or 25 hours long.
  virtual double startOfDay(double instant) const = 0;
};

}  // namespace zelvo
