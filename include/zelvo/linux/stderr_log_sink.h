#pragma once

#include <string>
#include <string_view>

#include "zelvo/platform/log_sink.h"
#include "zelvo/export.h"

namespace zelvo::linux_platform {

// Writes each line to standard error as "YYYY-MM-DD HH:MM:SS.mmm program[pid:tid] line" in
// local time, in a single write(2), so lines of concurrent threads and processes sharing
// the stream do not interleave. Thread: any.
class ZELVO_EXPORT StderrLogSink : public LogSink {
 public:
  StderrLogSink();
  void write(LogSeverity severity, std::string_view line) override;

 private:
  const std::string program_;
};

}  // namespace zelvo::linux_platform
