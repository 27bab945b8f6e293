#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "zelvo/platform/log_sink.h"
#include "zelvo/export.h"

namespace zelvo::testing {

// Keeps every line written, with its severity.
class ZELVO_EXPORT CapturingLogSink : public LogSink {
 public:
  void write(LogSeverity severity, std::string_view line) override;
  std::vector<std::string> lines() const;
  // The lines written at `severity`.
  std::vector<std::string> lines(LogSeverity severity) const;
  std::size_t count(std::string_view line) const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  std::vector<LogSeverity> severities_;
};

}  // namespace zelvo::testing
