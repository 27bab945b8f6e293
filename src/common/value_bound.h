#pragma once

#include <optional>
#include <string_view>

#include "zelvo/platform/log_sink.h"
#include "zelvo/value.h"

namespace zelvo {

// Whether a value from the host may be taken: nothing, or a value whose arrays and
// dictionaries nest at most Value::kMaxNesting deep, as the store and the configuration
// require too. A deeper one is refused with a line at error severity, whatever the log gate,
// naming `call`: copying it onto the main thread, or encoding it, would recurse as deep as it
// nests and could exhaust the calling thread's stack. The check itself recurses no deeper
// than the bound. Thread: any.
bool acceptHostValue(const std::optional<Value>& value, LogSink& log, std::string_view call);

}  // namespace zelvo
