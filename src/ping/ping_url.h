#pragma once

#include <string>
#include <string_view>

#include "common/log_gate.h"
#include "ping/zv_ping.h"

namespace zelvo {

// The parameters of one ping, in wire order, without sending anything. `full` adds the
// full-ping keys; "r" is added (and `referrerSent` set) only while `referrerSent` is false.
// A JSON failure of the identity-sync dictionary is logged through `gate` (may be null).
PingParameters buildParameters(const ZVPing::TrackArguments& arguments, bool full, bool& referrerSent,
                               const LogGate* gate);

// What ends every ping URL.
inline constexpr std::string_view kPingUrlEnd = "&_";

// `base`, the "k=v" pairs joined by "&", then kPingUrlEnd.
std::string composePingUrl(std::string_view base, const PingParameters& parameters);

// Writes `text` percent-encoded as ZVPing::urlEncode() does at `out`, which has room for three
// bytes per byte of text; returns the end of what was written.
char* percentEncode(std::string_view text, char* out);

}  // namespace zelvo
