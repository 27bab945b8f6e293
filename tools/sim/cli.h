#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace zelvo::sim {

// Also the text of its manual page (help2man), hence the whole story.
inline constexpr const char* kUsage =
    "usage: zelvo-sim [--events] SCENARIO.jsonl\n"
    "\n"
    "Replays a reader's session, described line by line in SCENARIO.jsonl, against the library\n"
    "in virtual time on the testing platform, and prints every request the library starts as a\n"
    "line of JSON: the same output for the same file.\n"
    "\n"
    "  --events    also print the library's notifications and log lines, in the order\n"
    "              they happen\n"
    "  -h, --help  print this text\n"
    "\n"
    "Exit status: 0 when the scenario ran, 1 when it could not be read or the output not\n"
    "written, 2 for bad arguments or a malformed scenario (nothing ran).\n";

// Exit codes of zelvo-sim.
inline constexpr int kExitRan = 0;
inline constexpr int kExitIoError = 1;  // the scenario cannot be read or the output not written
inline constexpr int kExitRefused = 2;  // bad arguments or a malformed scenario (nothing ran)

// The whole program: reads the arguments (without the program name), runs the scenario into
// `out`, reports problems on `err`, and returns the exit code.
int runCommandLine(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

}  // namespace zelvo::sim
