#include "sim/output.h"

#include <nlohmann/json.hpp>

namespace zelvo::sim {
namespace {

// A JSON string; bytes that are not UTF-8 (a host's title may hold any) become U+FFFD
// instead of stopping the run.
std::string quoted(std::string_view text) {
  return nlohmann::json(std::string(text)).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

void OutputWriter::request(Millis at, std::string_view url, std::string_view userAgent, int retry) {
  out_ << "{\"at\":" << decimalFromMillis(at) << ",\"url\":" << quoted(url) << ",\"userAgent\":" << quoted(userAgent)
       << ",\"retry\":" << retry << "}\n";
}

void OutputWriter::event(Millis at, std::string_view name, const std::string* url) {
  if (!events_) return;
  out_ << "{\"at\":" << decimalFromMillis(at) << ",\"event\":" << quoted(name);
  if (url) out_ << ",\"url\":" << quoted(*url);
  out_ << "}\n";
}

void OutputWriter::log(Millis at, std::string_view line) {
  if (!events_) return;
  out_ << "{\"at\":" << decimalFromMillis(at) << ",\"log\":" << quoted(line) << "}\n";
}

}  // namespace zelvo::sim
