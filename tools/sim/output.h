#pragma once

#include <ostream>
#include <string>
#include <string_view>

#include "sim/exact_time.h"

namespace zelvo::sim {

// Writes the run's lines: one compact JSON object each, keys in a fixed order, `at` as an
// exact decimal. Requests always; notifications and log lines only when asked for.
class OutputWriter {
 public:
  OutputWriter(std::ostream& out, bool events) : out_(out), events_(events) {}
  bool events() const { return events_; }

  // {"at":..,"url":..,"userAgent":..,"retry":..}
  void request(Millis at, std::string_view url, std::string_view userAgent, int retry);
  // {"at":..,"event":..} or, for the ping notifications, {"at":..,"event":..,"url":..}
  void event(Millis at, std::string_view name, const std::string* url);
  // {"at":..,"log":..}
  void log(Millis at, std::string_view line);

 private:
  std::ostream& out_;
  bool events_;
};

}  // namespace zelvo::sim
