#include "collector/command_line.h"

#include <charconv>
#include <string_view>

namespace zelvo::collector {

const char* const kUsage =
    "usage: zelvo-collector (--ca-out FILE | --cert FILE --key FILE) [options]\n"
    "\n"
    "A local collection service for development: an HTTPS server on 127.0.0.1 that checks\n"
    "every ping against the protocol and shows what it received.\n"
    "\n"
    "  --ca-out FILE       make a certificate for the endpoint hosts and localhost, and write\n"
    "                      the authority that signed it to FILE (PEM) for clients to trust\n"
    "  --cert FILE --key FILE  serve this certificate and key (PEM) instead\n"
    "  --port N            port on 127.0.0.1 (default: an ephemeral one, printed at start)\n"
    "  --config-file FILE  body of /data/config.json (default {\"engagement_window\": 5})\n"
    "  --statuses LIST     answers to the first pings, e.g. 200,503,500; then 200\n"
    "  --status-at N=S     answer ping N (counted from 1, resends included) with status S\n"
    "  --json-out FILE     write a JSON record of every request to FILE (JSON Lines)\n"
    "  --seconds N         stop after N seconds (1..3600, default 60)\n"
    "  --max-requests N    stop after N requests (1..100000, default 1000)\n"
    "\n"
    "Stops on SIGINT or SIGTERM too. Lines the console does not take in time are dropped (a\n"
    "count is printed at the end); the server never waits for them. Exit status: 0 when no\n"
    "request broke a rule, 1 when one did, 2 when the collector could not run or could not\n"
    "write every record to the --json-out file.\n";

namespace {

std::optional<long> parseBounded(std::string_view text, long low, long high) {
  long value = 0;
  const auto [at, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || at != text.data() + text.size() || value < low || value > high) {
    return std::nullopt;
  }
  return value;
}

}  // namespace

std::variant<CommandLine, std::string> parseCommandLine(const std::vector<std::string>& arguments) {
  CommandLine line;
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string& option = arguments[i];
    if (option == "--help" || option == "-h") {
      line.help = true;
      return line;
    }
    if (i + 1 == arguments.size()) return "unknown option or missing value: " + option;
    const std::string& value = arguments[++i];
    const auto bounded = [&](long low, long high) -> std::optional<long> {
      return parseBounded(value, low, high);
    };
    if (option == "--ca-out") {
      line.settings.caOut = value;
    } else if (option == "--cert") {
      line.settings.certFile = value;
    } else if (option == "--key") {
      line.settings.keyFile = value;
    } else if (option == "--config-file") {
      line.configFile = value;
    } else if (option == "--json-out") {
      line.jsonOut = value;
    } else if (option == "--statuses") {
      if (!line.settings.statuses.setList(value)) return "--statuses takes statuses 100..599 separated by commas";
    } else if (option == "--status-at") {
      if (!line.settings.statuses.addRule(value)) return "--status-at takes N=STATUS, N from 1, STATUS 100..599";
    } else if (option == "--port") {
      const auto port = bounded(0, 65535);
      if (!port) return "--port takes 0..65535";
      line.settings.port = static_cast<int>(*port);
    } else if (option == "--seconds") {
      const auto seconds = bounded(1, 3600);
      if (!seconds) return "--seconds takes 1..3600";
      line.settings.lifetime = std::chrono::seconds(*seconds);
    } else if (option == "--max-requests") {
      const auto count = bounded(1, 100000);
      if (!count) return "--max-requests takes 1..100000";
      line.settings.maxRequests = static_cast<std::size_t>(*count);
    } else {
      return "unknown option: " + option;
    }
  }
  if (line.settings.certFile.has_value() != line.settings.keyFile.has_value()) {
    return "--cert and --key go together";
  }
  if (line.settings.certFile && line.settings.caOut) return "--ca-out is for the certificate the collector makes; not with --cert";
  if (!line.settings.certFile && !line.settings.caOut) return "give --ca-out FILE (or --cert and --key)";
  return line;
}

}  // namespace zelvo::collector
