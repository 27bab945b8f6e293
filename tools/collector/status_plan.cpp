#include "collector/status_plan.h"

#include <charconv>
#include <optional>
#include <vector>

namespace zelvo::collector {
namespace {

template <typename Number>
std::optional<Number> parseNumber(std::string_view text) {
  Number value{};
  const auto [at, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || at != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<int> parseStatus(std::string_view text) {
  const std::optional<int> status = parseNumber<int>(text);
  if (!status || *status < 100 || *status > 599) return std::nullopt;
  return status;
}

}  // namespace

bool StatusPlan::setList(std::string_view list) {
  std::vector<int> statuses;
  while (true) {
    const size_t comma = list.find(',');
    const std::optional<int> status = parseStatus(list.substr(0, comma));
    if (!status) return false;
    statuses.push_back(*status);
    if (comma == std::string_view::npos) break;
    list.remove_prefix(comma + 1);
  }
  for (size_t i = 0; i < statuses.size(); ++i) statuses_[i + 1] = statuses[i];
  return true;
}

bool StatusPlan::addRule(std::string_view rule) {
  const size_t equals = rule.find('=');
  if (equals == std::string_view::npos) return false;
  const std::optional<std::size_t> ping = parseNumber<std::size_t>(rule.substr(0, equals));
  const std::optional<int> status = parseStatus(rule.substr(equals + 1));
  if (!ping || *ping == 0 || !status) return false;
  statuses_[*ping] = *status;
  return true;
}

void StatusPlan::setStatusAt(std::size_t pingNumber, int status) { statuses_[pingNumber] = status; }

int StatusPlan::statusFor(std::size_t pingNumber) const {
  const auto found = statuses_.find(pingNumber);
  return found == statuses_.end() ? 200 : found->second;
}

}  // namespace zelvo::collector
