#include "capi/log_callback.h"

#include <string>

namespace zelvo::capi {
namespace {

zelvo_log_severity toC(LogSeverity severity) {
  switch (severity) {
    case LogSeverity::kDebug: return ZELVO_LOG_DEBUG;
    case LogSeverity::kInfo: return ZELVO_LOG_INFO;
    case LogSeverity::kWarning: return ZELVO_LOG_WARNING;
    case LogSeverity::kError: return ZELVO_LOG_ERROR;
  }
  return ZELVO_LOG_ERROR;
}

}  // namespace

void CallbackLogSink::write(LogSeverity severity, std::string_view line) {
  try {
    const std::string text(line);  // the host reads a NUL-terminated copy
    callback_(userData_, toC(severity), text.c_str());
  } catch (...) {
    // Out of memory for a log line: the line is lost, the library goes on.
  }
}

}  // namespace zelvo::capi
