// zelvo-sim: replays a scenario file against the library in virtual time and prints every
// request the library starts. See docs/scenario-format.md.
#include <iostream>
#include <string>
#include <vector>

#include "sim/cli.h"

int main(int argc, char** argv) {
  return zelvo::sim::runCommandLine(std::vector<std::string>(argv + 1, argv + argc), std::cout, std::cerr);
}
