#pragma once

#include <memory>
#include <optional>
#include <string>

#include "zelvo/platform/calendar.h"
#include "zelvo/export.h"

namespace zelvo {
class TimeZone;
}

namespace zelvo::linux_platform {

// The calendar in the system's time zone, chosen as the C library does when the calendar is
// made: $TZ when set (a zone name, with or without a leading ':', or a path to a TZif file),
// else /etc/localtime, and UTC when the zone cannot be read (or $TZ is empty).
// Thread: any; the zone is fixed once made.
class ZELVO_EXPORT SystemCalendar : public Calendar {
 public:
  SystemCalendar();
  // A calendar for `tzValue` as if it were the value of $TZ (nothing: $TZ unset).
  explicit SystemCalendar(const std::optional<std::string>& tzValue);
  ~SystemCalendar() override;

  double startOfDay(double instant) const override;

 private:
  std::unique_ptr<const TimeZone> zone_;
};

}  // namespace zelvo::linux_platform
