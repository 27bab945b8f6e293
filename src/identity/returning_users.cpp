#include <algorithm>
#include <vector>

#include "common/format.h"
#include "identity/stored_values.h"
#include "identity/identity.h"
#include "zelvo/constants.h"

namespace zelvo {
namespace {

constexpr double kNewUserSeconds = 1800.0;
constexpr double kVisitGapSeconds = 2592000.0;
constexpr double kOldestOpenOffset = -1296000.0;
constexpr double kSecondsPerDay = 86400.0;
// Today and the fifteen days before it: the most open days the window can hold.
constexpr size_t kOpenDaysInWindow = 16;

}  // namespace

void Identity::remembeUserVisit() {
  if (!store_) return;
  const double now = clock_.now();
  std::optional<double> last = storedDate(store_, kZVUserVisitTrackingKey, gate_);
  // A gap of exactly thirty days keeps the old first visit.
  if (!last || now - *last > kVisitGapSeconds) store_->set(kZVUserFirstVisitTrackingKey, Value(Date{now}));
  store_->set(kZVUserVisitTrackingKey, Value(Date{now}));
  store_->synchronize();
}

bool Identity::isUserNew() {
  const double now = clock_.now();
  // Without a first visit the interval counts from the reference date: never new.
  const double first = storedDate(store_, storeKeys().userFirstVisit, gate_).value_or(0.0);
  return now - first < kNewUserSeconds;
}

void Identity::updateUserReturnFrequency() {
  // Open days as exact instants of local midnight, so that the same day is recognised.
  std::vector<double> days;
  auto addDay = [&days](double day) {
    if (std::find(days.begin(), days.end(), day) == days.end()) days.push_back(day);
  };
  if (store_) {
    if (std::optional<Value> stored = store_->get(kZVAppOpenDatesKey)) {
      if (const Value::Array* array = stored->asArray()) {
        for (const Value& element : *array) {
          if (const Date* date = element.asDate()) addDay(date->seconds);
        }
      } else {
        gate_.standard([] { return std::string("[ZV]:Ignoring stored ") + kZVAppOpenDatesKey + ": not an array"; });
      }
    }
  }
  const double today = calendar_.startOfDay(clock_.now());
  addDay(today);
  // Both ends inclusive: an open exactly fifteen days back is kept; future dates are dropped.
  const double cutoff = today + kOldestOpenOffset;
  std::erase_if(days, [&](double day) { return !(day >= cutoff && day <= today); });

  if (store_) {
    // Sized for a full window from the first day, so the record the store keeps does not grow
    // day by day as the window fills: a week of reading holds what an hour held.
    Value::Array array;
    array.reserve(std::max(days.size(), kOpenDaysInWindow));
    for (double day : days) array.emplace_back(Date{day});
    store_->set(kZVAppOpenDatesKey, Value(std::move(array)));
    store_->synchronize();
  }

  uint32_t mask = 0;
  int32_t oldest = 0;
  for (double day : days) {
    // Truncated: across a daylight-saving change a day is an hour short and counts one lower.
    const int32_t age = static_cast<int32_t>((today - day) / kSecondsPerDay);
    mask |= 1u << (age % 32);
    oldest = std::max(oldest, age);
  }
  const uint32_t value = (static_cast<uint32_t>(oldest) << 16) | mask;
  userReturnFrequencyHex_ = formatPosix("%05x", value);
}

}  // namespace zelvo
