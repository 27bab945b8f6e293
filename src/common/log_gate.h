#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "zelvo/platform/log_sink.h"

namespace zelvo {

// Decides which log lines reach the log sink. The switches are the tracker's debug mode and
// log level; every object of one tracker's world (its ping objects, its configuration, its
// reachability monitor) logs through that tracker's gate.
//   standard lines: debug mode on and level 0 (the default level);
//   error lines:    debug mode on and level at most 3;
//   the initialization-time line: debug mode on and level 0 or 1.
// They reach the sink as kDebug, kError and kInfo lines.
// Lines are built only when their gate is open, so a closed gate costs two atomic loads.
// Thread: any.
class LogGate {
 public:
  // The sink must outlive the gate (both belong to the same platform).
  explicit LogGate(LogSink& sink) : sink_(sink) {}

  void setDebugMode(bool on) { debugMode_.store(on, std::memory_order_relaxed); }
  bool debugMode() const { return debugMode_.load(std::memory_order_relaxed); }
  void setLogLevel(uint64_t level) { logLevel_.store(level, std::memory_order_relaxed); }
  uint64_t logLevel() const { return logLevel_.load(std::memory_order_relaxed); }

  bool standardOpen() const { return debugMode() && logLevel() == 0; }
  bool errorOpen() const { return debugMode() && logLevel() <= 3; }
  bool initializationTimeOpen() const { return debugMode() && logLevel() <= 1; }

  // `makeLine` returns the whole line, "[ZV]:" prefix included.
  template <typename MakeLine>
  void standard(MakeLine&& makeLine) const {
    if (standardOpen()) sink_.write(LogSeverity::kDebug, makeLine());
  }
  template <typename MakeLine>
  void error(MakeLine&& makeLine) const {
    if (errorOpen()) sink_.write(LogSeverity::kError, makeLine());
  }
  template <typename MakeLine>
  void initializationTime(MakeLine&& makeLine) const {
    if (initializationTimeOpen()) sink_.write(LogSeverity::kInfo, makeLine());
  }

 private:
  LogSink& sink_;
  std::atomic<bool> debugMode_{false};
  std::atomic<uint64_t> logLevel_{0};
};

}  // namespace zelvo
