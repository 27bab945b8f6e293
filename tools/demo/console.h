#pragma once

#include <iostream>
#include <mutex>
#include <string>
#include <string_view>

#include "zelvo/platform/log_sink.h"

namespace zelvo::demo {

// Standard output shared by the session's narration and the collector's threads: whole
// lines, never interleaved. Thread: any.
class Console {
 public:
  void line(const std::string& text) {
    std::lock_guard lock(mutex_);
    std::cout << text << std::endl;
  }

 private:
  std::mutex mutex_;
};

// The library's log lines, on the console among the rest.
class ConsoleLogSink : public LogSink {
 public:
  explicit ConsoleLogSink(Console& console) : console_(console) {}
  void write(LogSeverity /*severity*/, std::string_view line) override { console_.line("         library   " + std::string(line)); }

 private:
  Console& console_;
};

}  // namespace zelvo::demo
