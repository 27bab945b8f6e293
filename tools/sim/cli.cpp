#include "sim/cli.h"

#include <fstream>

#include "sim/scenario.h"
#include "sim/sim_world.h"

namespace zelvo::sim {

int runCommandLine(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
  bool events = false;
  std::string path;
  for (const std::string& argument : arguments) {
    if (argument == "--events") {
      events = true;
    } else if (argument == "-h" || argument == "--help") {
      out << kUsage;
      return kExitRan;
    } else if (path.empty() && !argument.starts_with("-")) {
      path = argument;
    } else {
      err << kUsage;
      return kExitRefused;
    }
  }
  if (path.empty()) {
    err << kUsage;
    return kExitRefused;
  }

  std::ifstream file(path, std::ios::binary);
  if (!file) {
    err << "zelvo-sim: cannot read " << path << "\n";
    return kExitIoError;
  }
  auto parsed = parseScenario(file);
  if (const auto* error = std::get_if<ScenarioError>(&parsed)) {
    err << "zelvo-sim: " << path << ": " << error->text() << "\n";
    return kExitRefused;
  }
  runScenario(std::get<Scenario>(parsed), out, events);
  out.flush();
  return out ? kExitRan : kExitIoError;
}

}  // namespace zelvo::sim
