// The JSON encoder of identity-sync values, on any value a host can hold (read from the typed
// form, which has dates, NaN and raw bytes too): it refuses with a reason or writes JSON that reads back.
#include <cstdlib>
#include <string_view>

#include "common/log_gate.h"
#include "ping/zv_ping.h"

namespace {
struct DiscardingSink : zelvo::LogSink {
  void write(zelvo::LogSeverity, std::string_view) override {}
};
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto value = zelvo::Value::fromTypedJson({reinterpret_cast<const char*>(data), size});
  if (!value) return 0;
  static DiscardingSink sink;
  static zelvo::LogGate gate(sink);
  gate.setDebugMode(true);  // the refusal's reason and the typed dump are built too
  const auto json = zelvo::ZVPing::jsonEncode(*value, &gate);
  if (json && !zelvo::Value::fromJson(*json)) std::abort();
  return 0;
}
