// zelvo-sim: replays a scenario file against the library in virtual time and prints every
// request the library starts. See docs/scenario-format.md.
#include <fstream>
#include <iostream>
#include <string>

#include "sim/scenario.h"
#include "sim/sim_world.h"

namespace {

constexpr const char* kUsage = "usage: zelvo-sim [--events] SCENARIO.jsonl\n";

// Exit codes.
constexpr int kRan = 0;
constexpr int kIoError = 1;  // the scenario cannot be read or the output cannot be written
constexpr int kRefused = 2;  // bad arguments or a malformed scenario

}  // namespace

int main(int argc, char** argv) {
  bool events = false;
  std::string path;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--events") {
      events = true;
    } else if (argument == "-h" || argument == "--help") {
      std::cout << kUsage;
      return kRan;
    } else if (path.empty() && !argument.starts_with("-")) {
      path = argument;
    } else {
      std::cerr << kUsage;
      return kRefused;
    }
  }
  if (path.empty()) {
    std::cerr << kUsage;
    return kRefused;
  }

  std::ifstream file(path);
  if (!file) {
    std::cerr << "zelvo-sim: cannot read " << path << "\n";
    return kIoError;
  }
  auto parsed = zelvo::sim::parseScenario(file);
  if (const auto* error = std::get_if<zelvo::sim::ScenarioError>(&parsed)) {
    std::cerr << "zelvo-sim: " << path << ": " << error->text() << "\n";
    return kRefused;
  }
  zelvo::sim::runScenario(std::get<zelvo::sim::Scenario>(parsed), std::cout, events);
  std::cout.flush();
  return std::cout ? kRan : kIoError;
}
