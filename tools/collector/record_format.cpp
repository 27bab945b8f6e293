#include "collector/record_format.h"

#include <nlohmann/json.hpp>

namespace zelvo::collector {
namespace {

std::string pingText(const PingSummary& ping) {
  std::string text = ping.path.empty() ? "(no path)" : ping.path;
  text += " dwell " + std::to_string(ping.dwellSeconds) + "s";
  text += " engaged " + std::to_string(ping.engagedSeconds) + "s (+" + std::to_string(ping.engagedSinceLastPing) + ")";
  text += " scroll " + std::to_string(ping.maxScroll);
  text += " " + ping.activity;
  if (ping.visitDepth) text += " visit " + std::to_string(*ping.visitDepth);
  if (ping.full) text += " full";
  return text;
}

}  // namespace

std::string readableLine(const RequestRecord& record) {
  std::string line(1, '#');
  line += std::to_string(record.sequence);
  line += ' ';
  line += std::to_string(record.status);
  line += ' ';
  line += record.ping ? pingText(*record.ping) : record.method + " " + record.path + " (not a ping)";
  for (const Violation& violation : record.violations) {
    line += "\n    ! ";
    if (!violation.key.empty()) line += violation.key + ": ";
    line += violation.message;
  }
  return line;
}

std::string jsonLine(const RequestRecord& record) {
  nlohmann::json json = {
      {"sequence", record.sequence}, {"receivedAt", record.receivedAt}, {"method", record.method},
      {"host", record.host},         {"path", record.path},             {"query", record.query},
      {"userAgent", record.userAgent}, {"status", record.status},
  };
  nlohmann::json violations = nlohmann::json::array();
  for (const Violation& violation : record.violations) {
    violations.push_back({{"key", violation.key}, {"message", violation.message}});
  }
  json["violations"] = std::move(violations);
  if (record.truncated) json["truncated"] = true;
  if (record.ping) {
    const PingSummary& summary = *record.ping;
    json["ping"] = {
        {"params", record.params},
        {"full", summary.full},
        {"path", summary.path},
        {"dwellSeconds", summary.dwellSeconds},
        {"engagedSeconds", summary.engagedSeconds},
        {"engagedSinceLastPing", summary.engagedSinceLastPing},
        {"maxScroll", summary.maxScroll},
        {"activity", summary.activity},
        {"visitDepth", summary.visitDepth ? nlohmann::json(*summary.visitDepth) : nlohmann::json(nullptr)},
    };
  } else {
    json["ping"] = nullptr;
  }
  return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace zelvo::collector
