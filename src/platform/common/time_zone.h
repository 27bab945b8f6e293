#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/common/posix_tz_rule.h"

namespace zelvo {

// A time zone with its real rules, read from a tz database file (TZif): the recorded
// transitions, then the file's POSIX rule for every instant after the last one.
// Thread: immutable once made; share it freely.
//
// Our own reader rather than Howard Hinnant's date/tz: on the system database date/tz (3.0.1)
// ignores the POSIX rule of each file's footer, so after the last recorded transition (2037 in
// Debian's files) it keeps standard time all year, and it cannot read a zone from bytes.
class TimeZone {
 public:
  // Zero offset for all time; needs no database.
  static TimeZone utc();
  // A zone by IANA name ("Europe/Berlin") from /usr/share/zoneinfo. "UTC" needs no database.
  // Nothing when the name is unknown, unsafe as a path, or its file is unreadable.
  static std::optional<TimeZone> load(const std::string& name);
  static std::optional<TimeZone> fromFile(const std::string& path);
  // The zone in a TZif file's bytes; nothing when they are not a valid TZif file.
  static std::optional<TimeZone> fromTzif(std::string_view bytes);

  // Seconds east of UTC in effect at `unixSeconds` (seconds since 1970).
  double utcOffsetAt(double unixSeconds) const;
  // The first instant of the local day holding `instantSince2001`: local midnight, or the end
  // of the gap when the clocks skip midnight. Both in seconds since 2001-01-01T00:00:00Z.
  double startOfDay(double instantSince2001) const;

 private:
  TimeZone() = default;
  int32_t offsetAt(int64_t unixSeconds) const;
  // The offset at `from`, then every change in (from, to].
  std::vector<OffsetChange> offsetsBetween(int64_t from, int64_t to) const;
  int32_t offsetAfter(std::size_t transition) const;

  int32_t initialOffset_ = 0;  // before the first transition
  std::vector<OffsetChange> transitions_;
  std::optional<PosixTzRule> rule_;
};

// TimeZone::startOfDay() for a zone whose rules come from elsewhere (the Windows time-zone
// API): `offsetAt` gives the UTC offset at a Unix second, `offsetsBetween(from, to)` the offset
// at `from` and then every change in (from, to].
double startOfLocalDay(double instantSince2001, const std::function<int32_t(int64_t)>& offsetAt,
                       const std::function<std::vector<OffsetChange>(int64_t, int64_t)>& offsetsBetween);

}  // namespace zelvo
