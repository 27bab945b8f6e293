#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "sim/scenario.h"
#include "sim/sim_world.h"

namespace zelvo::sim::test {

// A phone at 2026-03-28T10:00:00Z (UTC) whose application identifier is com.example.news.
inline const std::string kWorld =
    R"({"do":"world","start":"2026-03-28T10:00:00Z","seed":1,"bundle":"com.example.news"})" "\n";

// Runs a scenario given as text and returns what the tool prints.
inline std::string run(const std::string& text, bool events = false) {
  std::istringstream in(text);
  auto parsed = parseScenario(in);
  if (const auto* error = std::get_if<ScenarioError>(&parsed)) {
    ADD_FAILURE() << "scenario refused: " << error->text();
    return "";
  }
  std::ostringstream out;
  runScenario(std::get<Scenario>(parsed), out, events);
  return out.str();
}

inline std::vector<nlohmann::json> objects(const std::string& output) {
  std::vector<nlohmann::json> result;
  std::istringstream in(output);
  for (std::string line; std::getline(in, line);) result.push_back(nlohmann::json::parse(line));
  return result;
}

// The request lines only (with --events the output holds others too).
inline std::vector<nlohmann::json> requests(const std::string& output) {
  std::vector<nlohmann::json> result;
  for (auto& object : objects(output)) {
    if (object.contains("retry")) result.push_back(object);
  }
  return result;
}

// The "at" of every line as printed.
inline std::vector<std::string> atTexts(const std::string& output) {
  std::vector<std::string> result;
  std::istringstream in(output);
  for (std::string line; std::getline(in, line);) {
    const std::string prefix = "{\"at\":";
    EXPECT_EQ(line.rfind(prefix, 0), 0u) << line;
    result.push_back(line.substr(prefix.size(), line.find(',') - prefix.size()));
  }
  return result;
}

// The query of a ping URL as a map ("_", the last pair, has no value).
inline std::map<std::string, std::string> query(const std::string& url) {
  std::map<std::string, std::string> pairs;
  std::istringstream in(url.substr(url.find('?') + 1));
  for (std::string pair; std::getline(in, pair, '&');) {
    const auto eq = pair.find('=');
    pairs[pair.substr(0, eq)] = eq == std::string::npos ? "" : pair.substr(eq + 1);
  }
  return pairs;
}

inline std::map<std::string, std::string> query(const nlohmann::json& request) {
  return query(request["url"].get<std::string>());
}

}  // namespace zelvo::sim::test
