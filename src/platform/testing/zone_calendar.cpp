#include <cstdio>

#include "platform/common/time_zone.h"
#include "zelvo/testing/zone_calendar.h"

namespace zelvo::testing {

struct ZoneCalendar::Zone {
  mutable std::mutex mutex;
  TimeZone zone = TimeZone::utc();
  bool ok = true;
};

ZoneCalendar::ZoneCalendar(const std::string& zoneName) : zone_(std::make_unique<Zone>()) { setZone(zoneName); }

ZoneCalendar::~ZoneCalendar() = default;

void ZoneCalendar::setZone(const std::string& zoneName) {
  auto loaded = TimeZone::load(zoneName);
  if (!loaded) std::fprintf(stderr, "ZoneCalendar: cannot load time zone \"%s\"; using UTC\n", zoneName.c_str());
  std::lock_guard lock(zone_->mutex);
  zone_->ok = loaded.has_value();
  zone_->zone = loaded ? std::move(*loaded) : TimeZone::utc();
}

bool ZoneCalendar::ok() const {
  std::lock_guard lock(zone_->mutex);
  return zone_->ok;
}

double ZoneCalendar::startOfDay(double instant) const {
  std::lock_guard lock(zone_->mutex);
  return zone_->zone.startOfDay(instant);
}

double ZoneCalendar::utcOffsetAt(double instant) const {
  constexpr double kUnixSecondsAt2001 = 978307200.0;
  std::lock_guard lock(zone_->mutex);
  return zone_->zone.utcOffsetAt(instant + kUnixSecondsAt2001);
}

}  // namespace zelvo::testing
