#pragma once

#include <string>

namespace zelvo {

// An instant (seconds since 2001-01-01T00:00:00Z) as log lines show dates:
// "2026-03-28 10:10:00 +0000", whole seconds, in UTC. An instant too far out for a calendar
// date shows as its number of seconds.
std::string describeDate(double secondsSince2001);

}  // namespace zelvo
