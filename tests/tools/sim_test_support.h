#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "sim/scenario.h"
#include "sim/sim_world.h"

// Whole sessions are scenario files with their expected output (tests/scenarios/); the tool's
// own tests need little more than a world line.
namespace zelvo::sim::test {

// A phone at 2026-03-28T10:00:00Z (UTC) whose application identifier is com.example.news.
inline const std::string kWorld =
    R"({"do":"world","start":"2026-03-28T10:00:00Z","seed":1,"bundle":"com.example.news"})" "\n";

}  // namespace zelvo::sim::test
