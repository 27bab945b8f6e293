#include "sim/exact_time.h"

#include <cctype>

namespace zelvo::sim {
namespace {

constexpr int64_t kDaysFrom1970To2001 = 11323;
constexpr int64_t kMillisPerDay = 86'400'000;

bool isDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

// Days since 1970-01-01 of a proleptic Gregorian date (H. Hinnant's days_from_civil).
int64_t daysFromCivil(int64_t year, int month, int day) {
  year -= month <= 2 ? 1 : 0;
  const int64_t era = (year >= 0 ? year : year - 399) / 400;
  const int64_t yearOfEra = year - era * 400;
  const int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

bool isLeapYear(int64_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int daysInMonth(int64_t year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29 : kDays[month - 1];
}

// Reads exactly `count` digits at `at`, moving past them.
std::optional<int> readDigits(std::string_view text, std::size_t& at, std::size_t count) {
  if (at + count > text.size()) return std::nullopt;
  int value = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (!isDigit(text[at + i])) return std::nullopt;
    value = value * 10 + (text[at + i] - '0');
  }
  at += count;
  return value;
}

bool expect(std::string_view text, std::size_t& at, char c) {
  if (at >= text.size() || text[at] != c) return false;
  ++at;
  return true;
}

// "YYYY-MM-DD" at the start of `text`, as days since 1970.
std::optional<int64_t> readDay(std::string_view text, std::size_t& at) {
  auto year = readDigits(text, at, 4);
  if (!year || !expect(text, at, '-')) return std::nullopt;
  auto month = readDigits(text, at, 2);
  if (!month || *month < 1 || *month > 12 || !expect(text, at, '-')) return std::nullopt;
  auto day = readDigits(text, at, 2);
  if (!day || *day < 1 || *day > daysInMonth(*year, *month)) return std::nullopt;
  return daysFromCivil(*year, *month, *day);
}

}  // namespace

std::optional<Millis> millisFromDecimal(std::string_view text) {
  std::size_t at = 0;
  std::string digits;
  int64_t exponent = 0;
  while (at < text.size() && isDigit(text[at])) digits += text[at++];
  if (digits.empty()) return std::nullopt;
  if (at < text.size() && text[at] == '.') {
    ++at;
    const std::size_t first = at;
    while (at < text.size() && isDigit(text[at])) {
      digits += text[at++];
      --exponent;
    }
    if (at == first) return std::nullopt;
  }
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    ++at;
    bool negative = false;
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) negative = text[at++] == '-';
    int64_t written = 0;
    const std::size_t first = at;
    while (at < text.size() && isDigit(text[at])) {
      // Beyond this no millisecond count fits anyway; the check below refuses it.
      if (written < 100000) written = written * 10 + (text[at] - '0');
      ++at;
    }
    if (at == first) return std::nullopt;
    exponent += negative ? -written : written;
  }
  if (at != text.size()) return std::nullopt;

  exponent += 3;  // seconds to milliseconds
  const std::size_t significant = digits.find_first_not_of('0');
  if (significant == std::string::npos) return 0;
  digits.erase(0, significant);
  if (exponent < 0) {
    const auto dropped = static_cast<std::size_t>(-exponent);
    if (dropped > digits.size()) return std::nullopt;
    if (digits.find_first_not_of('0', digits.size() - dropped) != std::string::npos) return std::nullopt;
    digits.erase(digits.size() - dropped);  // not resize(): GCC 12 -O3 sees a false overlap (-Wrestrict)
  } else {
    if (digits.size() + static_cast<std::size_t>(exponent) > 14) return std::nullopt;
    digits.append(static_cast<std::size_t>(exponent), '0');
  }
  if (digits.size() > 14) return std::nullopt;
  Millis millis = 0;
  for (char c : digits) millis = millis * 10 + (c - '0');
  if (millis > kMaxScenarioMillis) return std::nullopt;
  return millis;
}

std::string decimalFromMillis(Millis millis) {
  std::string text = std::to_string(millis / 1000);
  if (const Millis fraction = millis % 1000; fraction != 0) {
    std::string decimals = std::to_string(fraction);
    decimals.insert(0, 3 - decimals.size(), '0');
    decimals.erase(decimals.find_last_not_of('0') + 1);
    text += "." + decimals;
  }
  return text;
}

std::optional<Millis> millisSince2001FromIso(std::string_view text) {
  std::size_t at = 0;
  auto days = readDay(text, at);
  if (!days || !expect(text, at, 'T')) return std::nullopt;
  auto hour = readDigits(text, at, 2);
  if (!hour || *hour > 23 || !expect(text, at, ':')) return std::nullopt;
  auto minute = readDigits(text, at, 2);
  if (!minute || *minute > 59 || !expect(text, at, ':')) return std::nullopt;
  auto second = readDigits(text, at, 2);
  if (!second || *second > 59) return std::nullopt;
  int64_t millis = 0;
  if (at < text.size() && text[at] == '.') {
    ++at;
    int place = 100;
    const std::size_t first = at;
    for (; at < text.size() && isDigit(text[at]); ++at) {
      const int digit = text[at] - '0';
      if (place == 0 && digit != 0) return std::nullopt;  // finer than a millisecond
      millis += digit * place;
      place /= 10;
    }
    if (at == first) return std::nullopt;
  }
  int64_t offsetMinutes = 0;
  if (expect(text, at, 'Z')) {
    // UTC
  } else if (at < text.size() && (text[at] == '+' || text[at] == '-')) {
    const int sign = text[at++] == '-' ? -1 : 1;
    auto offsetHours = readDigits(text, at, 2);
    if (!offsetHours || *offsetHours > 23 || !expect(text, at, ':')) return std::nullopt;
    auto offsetMins = readDigits(text, at, 2);
    if (!offsetMins || *offsetMins > 59) return std::nullopt;
    offsetMinutes = sign * (*offsetHours * 60 + *offsetMins);
  } else {
    return std::nullopt;
  }
  if (at != text.size()) return std::nullopt;
  const int64_t localSeconds = *hour * 3600 + *minute * 60 + *second;
  return (*days - kDaysFrom1970To2001) * kMillisPerDay + (localSeconds - offsetMinutes * 60) * 1000 + millis;
}

std::optional<int64_t> daysSince2001FromDay(std::string_view text) {
  std::size_t at = 0;
  auto days = readDay(text, at);
  if (!days || at != text.size()) return std::nullopt;
  return *days - kDaysFrom1970To2001;
}

}  // namespace zelvo::sim
