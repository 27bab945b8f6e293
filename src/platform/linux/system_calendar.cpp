#include "zelvo/linux/system_calendar.h"

#include <cstdlib>

#include "platform/common/time_zone.h"

namespace zelvo::linux_platform {
namespace {

TimeZone systemZone(const std::optional<std::string>& tzValue) {
  std::optional<TimeZone> zone;
  if (!tzValue) {
    zone = TimeZone::fromFile("/etc/localtime");
  } else {
    std::string name = tzValue->starts_with(':') ? tzValue->substr(1) : *tzValue;
    if (!name.empty()) zone = name.starts_with('/') ? TimeZone::fromFile(name) : TimeZone::load(name);
  }
  return zone ? *zone : TimeZone::utc();
}

std::optional<std::string> tzVariable() {
  const char* tz = std::getenv("TZ");
  if (!tz) return std::nullopt;
  return std::string(tz);
}

}  // namespace

SystemCalendar::SystemCalendar() : SystemCalendar(tzVariable()) {}

SystemCalendar::SystemCalendar(const std::optional<std::string>& tzValue)
    : zone_(std::make_unique<const TimeZone>(systemZone(tzValue))) {}

SystemCalendar::~SystemCalendar() = default;

double SystemCalendar::startOfDay(double instant) const { return zone_->startOfDay(instant); }

}  // namespace zelvo::linux_platform
