#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Scenario time is kept as whole milliseconds, read from the decimal text of the file: a
// scenario's instants are then exact, and sums of them never drift the way doubles would.
namespace zelvo::sim {

using Millis = int64_t;

// The largest `at` accepted: about 317 years, far within what a double clock tells apart to
// the millisecond.
inline constexpr Millis kMaxScenarioMillis = 10'000'000'000'000;

// A non-negative JSON number as written ("15", "2.5", "1e3") in milliseconds; nothing when it
// is negative, finer than a millisecond or above kMaxScenarioMillis.
std::optional<Millis> millisFromDecimal(std::string_view text);
// A non-negative time as seconds: "15", "15.5", "0.125" (whole seconds without a point,
// otherwise no trailing zeros).
std::string decimalFromMillis(Millis millis);

// An ISO-8601 instant with its offset ("2026-03-28T10:00:00Z", "2026-03-28T12:00:00.25+02:00")
// in milliseconds since 2001-01-01T00:00:00Z; nothing when malformed or finer than a millisecond.
std::optional<Millis> millisSince2001FromIso(std::string_view text);
// A day alone ("2026-03-27") as days since 2001-01-01; nothing when malformed.
std::optional<int64_t> daysSince2001FromDay(std::string_view text);

}  // namespace zelvo::sim
