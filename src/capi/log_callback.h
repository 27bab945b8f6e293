#pragma once

#include <string_view>

#include "zelvo/platform/log_sink.h"
#include "zelvo/zelvo.h"

namespace zelvo::capi {

// A log sink that hands each line, NUL-terminated, to the host's C callback.
class CallbackLogSink : public LogSink {
 public:
  CallbackLogSink(zelvo_log_callback callback, void* userData) : callback_(callback), userData_(userData) {}
  void write(LogSeverity severity, std::string_view line) override;

 private:
  zelvo_log_callback callback_;
  void* userData_;
};

}  // namespace zelvo::capi
