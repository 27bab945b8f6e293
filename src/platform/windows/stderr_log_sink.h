#pragma once

#include <string>
#include <string_view>

#include "zelvo/platform/log_sink.h"

namespace zelvo::windows_platform {

// Writes each line to standard error as "YYYY-MM-DD HH:MM:SS.mmm program[pid:tid] line" in
// local time, in one WriteFile, so that the lines of concurrent threads do not interleave; and
// to the debugger (OutputDebugString), where a program without a console shows its log.
// Thread: any.
class StderrLogSink : public LogSink {
 public:
  StderrLogSink();
  void write(LogSeverity severity, std::string_view line) override;

 private:
  const std::string program_;
};

}  // namespace zelvo::windows_platform
