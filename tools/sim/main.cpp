// zelvo-sim: replays a scenario file against the library in virtual time and prints every
// request the library starts. See docs/scenario-format.md.
#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

#include <iostream>
#include <string>
#include <vector>

#include "sim/cli.h"

int main(int argc, char** argv) {
#ifdef _WIN32
  // The output is the same bytes as on Linux: no "\r\n" for each "\n".
  _setmode(_fileno(stdout), _O_BINARY);
#endif
  return zelvo::sim::runCommandLine(std::vector<std::string>(argv + 1, argv + argc), std::cout, std::cerr);
}
