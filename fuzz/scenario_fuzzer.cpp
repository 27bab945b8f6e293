// Scenario files for zelvo-sim: any text is refused with a line and a message, or run-ready.
#include <sstream>
#include <string>

#include "sim/scenario.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
  zelvo::sim::parseScenario(in);  // an exception escaping here is a finding
  return 0;
}
