#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace zelvo::sim {

inline constexpr const char* kUsage = "usage: zelvo-sim [--events] SCENARIO.jsonl\n";

// Exit codes of zelvo-sim.
inline constexpr int kExitRan = 0;
inline constexpr int kExitIoError = 1;  // the scenario cannot be read or the output not written
inline constexpr int kExitRefused = 2;  // bad arguments or a malformed scenario (nothing ran)

// The whole program: reads the arguments (without the program name), runs the scenario into
// `out`, reports problems on `err`, and returns the exit code.
int runCommandLine(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

}  // namespace zelvo::sim
