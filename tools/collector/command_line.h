#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "collector/collector_server.h"

namespace zelvo::collector {

struct CommandLine {
  CollectorSettings settings;
  std::optional<std::string> configFile;  // read into settings.configBody by the program
  std::optional<std::string> jsonOut;
  bool help = false;
};

extern const char* const kUsage;

// Reads the arguments that follow the program name. The text of the first problem when they
// do not make a usable command line.
std::variant<CommandLine, std::string> parseCommandLine(const std::vector<std::string>& arguments);

}  // namespace zelvo::collector
