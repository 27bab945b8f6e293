#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <istream>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "sim/exact_time.h"
#include "zelvo/platform/screen.h"
#include "zelvo/value.h"

namespace zelvo::sim {

class SimWorld;

// The world line: the device, the network and the store as they are before the first action.
struct World {
  Millis start = 0;  // scenario time 0, in milliseconds since 2001-01-01T00:00:00Z
  std::string tz = "UTC";
  uint64_t seed = 0;
  std::vector<std::array<uint8_t, 16>> uuids;
  std::string model = "iPhone";
  std::optional<std::string> bundle = "com.example.app";
  std::optional<ScreenMetrics> screen = ScreenMetrics{375.0, 667.0, 2.0};
  std::optional<uint32_t> flags = 2;
  std::map<std::string, Value> store;
  bool consentRequired = false;
};

// One action line, checked and ready to run on the world.
struct Action {
  int line = 0;
  Millis at = 0;
  std::function<void(SimWorld&)> run;
};

struct Scenario {
  World world;
  std::vector<Action> actions;  // in file order; `at` never decreases
};

// Why a scenario was refused: the line (1-based), the field and what is wrong with it.
struct ScenarioError {
  int line = 0;
  std::string field;  // empty when the line is not JSON at all
  std::string message;
  // "line 3: at: goes back in time (2 after 5)"
  std::string text() const;
};

// Reads a whole scenario file: blank lines and lines starting with "//" are skipped, the first
// other line is the world, every later one an action. The first malformed line stops it.
std::variant<Scenario, ScenarioError> parseScenario(std::istream& in);

}  // namespace zelvo::sim
