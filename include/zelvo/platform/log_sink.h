#pragma once

#include <string_view>

namespace zelvo {

// Where the library's log lines go (each a whole line, without a trailing newline).
// Thread: called from any thread, possibly concurrently.
class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void write(std::string_view line) = 0;
};

}  // namespace zelvo
