#pragma once

#include <string_view>

#include "zelvo/export.h"

namespace zelvo {

// How much a log line matters, so that a host's sink can file or filter it.
//   kDebug:   the debug-mode trace of what the library does (each ping, each tick);
//   kInfo:    facts worth a line once (the initialization time);
//   kWarning: the platform works around a fault (a store moved aside, a fallback);
//   kError:   something failed (a ping without answer, a refused platform).
enum class LogSeverity { kDebug, kInfo, kWarning, kError };

// Where the library's log lines go (each a whole line, without a trailing newline).
// Thread: called from any thread, possibly concurrently.
class ZELVO_EXPORT LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void write(LogSeverity severity, std::string_view line) = 0;
};

}  // namespace zelvo
