#pragma once

#include <memory>
#include <string>

#include "zelvo/platform/calendar.h"
#include "zelvo/export.h"

namespace zelvo::testing {

// A calendar in a time zone chosen by IANA name ("UTC", "Europe/Berlin"), following the
// zone's real rules from the system's time-zone database.
class ZELVO_EXPORT ZoneCalendar : public Calendar {
 public:
  // Falls back to UTC (and reports false from ok()) when the zone cannot be loaded.
  explicit ZoneCalendar(const std::string& zoneName = "UTC");
  ~ZoneCalendar() override;
  bool ok() const;
  double startOfDay(double instant) const override;
  // Seconds east of UTC in effect at `instant` (seconds since 2001).
  double utcOffsetAt(double instant) const;
  // Switches to another zone, with the same fallback. Thread: any.
  void setZone(const std::string& zoneName);

 private:
  struct Zone;
  std::unique_ptr<Zone> zone_;
};

}  // namespace zelvo::testing
