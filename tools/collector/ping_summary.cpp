#include "collector/ping_summary.h"

#include <charconv>
#include <cmath>
#include <string_view>

#include "collector/query_string.h"

namespace zelvo::collector {
namespace {

std::string_view param(const CheckedPing& ping, const std::string& key) {
  const auto found = ping.params.find(key);
  return found == ping.params.end() ? std::string_view() : std::string_view(found->second);
}

template <typename Number>
Number number(std::string_view text) {
  Number value{};
  const auto [at, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && at == text.data() + text.size() ? value : Number{};
}

std::string activity(const CheckedPing& ping) {
  if (param(ping, "W") == "1") return "writing";
  if (param(ping, "R") == "1") return "reading";
  if (param(ping, "I") == "1") return "idle";
  return "?";
}

}  // namespace

PingSummary summarize(const CheckedPing& ping) {
  PingSummary summary;
  summary.path = percentDecode(param(ping, "p")).value_or(std::string(param(ping, "p")));
  const double minutes = number<double>(param(ping, "c"));
  summary.dwellSeconds = std::isfinite(minutes) && std::fabs(minutes) < 1e12 ? std::llround(minutes * 60.0) : 0;
  summary.engagedSeconds = number<int64_t>(param(ping, "E"));
  summary.engagedSinceLastPing = number<int64_t>(param(ping, "e"));
  summary.maxScroll = number<int64_t>(param(ping, "m"));
  summary.activity = activity(ping);
  if (ping.params.count("sd") != 0) summary.visitDepth = number<int64_t>(param(ping, "sd"));
  summary.full = ping.full;
  return summary;
}

}  // namespace zelvo::collector
