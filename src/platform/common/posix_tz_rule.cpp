#include "platform/common/posix_tz_rule.h"

#include <algorithm>
#include <cctype>

#include "platform/common/day_arithmetic.h"

namespace zelvo {
namespace {

bool isLeapYear(int64_t y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

// Days from 1970-01-01 to the proleptic Gregorian date y-m-d (Howard Hinnant's algorithm).
int64_t daysFromCivil(int64_t y, int m, int d) {
  y -= m <= 2;
  const int64_t era = floorDiv(y, 400);
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

int64_t yearOfDays(int64_t days) {
  const int64_t z = days + 719468;
  const int64_t era = floorDiv(z, 146097);
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  return yoe + era * 400 + (mp >= 10 ? 1 : 0);
}

int64_t yearOf(int64_t unixSeconds) { return yearOfDays(floorDiv(unixSeconds, kSecondsPerDay)); }

int daysInMonth(int64_t y, int m) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && isLeapYear(y) ? 29 : kDays[m - 1];
}

// A cursor over the rule text; every read checks the bounds.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}
  bool atEnd() const { return pos_ == text_.size(); }
  char peek() const { return atEnd() ? '\0' : text_[pos_]; }
  bool accept(char c) {
    if (peek() != c) return false;
    ++pos_;
    return true;
  }
  std::optional<int> number(int maxDigits, int max) {
    int value = 0;
    int digits = 0;
    while (digits < maxDigits && std::isdigit(static_cast<unsigned char>(peek()))) {
      value = value * 10 + (text_[pos_++] - '0');
      ++digits;
    }
    if (digits == 0 || value > max) return std::nullopt;
    return value;
  }
  // A zone abbreviation: three or more letters, or <...> of letters, digits and signs.
  bool name() {
    std::size_t length = 0;
    if (accept('<')) {
      while (std::isalnum(static_cast<unsigned char>(peek())) || peek() == '+' || peek() == '-') {
        ++pos_;
        ++length;
      }
      return accept('>') && length >= 3;
    }
    while (std::isalpha(static_cast<unsigned char>(peek()))) {
      ++pos_;
      ++length;
    }
    return length >= 3;
  }
  // [+|-]hh[:mm[:ss]] in seconds; hours up to 167 as the tz database allows in rules.
  std::optional<int32_t> signedTime() {
    int sign = 1;
    if (accept('-')) {
      sign = -1;
    } else {
      accept('+');
    }
    auto hours = number(3, 167);
    if (!hours) return std::nullopt;
    int minutes = 0;
    int seconds = 0;
    if (accept(':')) {
      auto m = number(2, 59);
      if (!m) return std::nullopt;
      minutes = *m;
      if (accept(':')) {
        auto s = number(2, 59);
        if (!s) return std::nullopt;
        seconds = *s;
      }
    }
    return sign * (*hours * 3600 + minutes * 60 + seconds);
  }
  bool startsTime() const {
    char c = peek();
    return c == '+' || c == '-' || std::isdigit(static_cast<unsigned char>(c));
  }

 private:
  std::string_view text_;
  std::size_t pos_ = 0;
};

}  // namespace

std::optional<PosixTzRule> PosixTzRule::parse(std::string_view text) {
  Reader in(text);
  PosixTzRule rule;
  if (!in.name()) return std::nullopt;
  auto stdOffset = in.signedTime();
  if (!stdOffset) return std::nullopt;
  // POSIX offsets count hours west of Greenwich; ours count seconds east.
  rule.stdOffset_ = -*stdOffset;
  if (in.atEnd()) return rule;

  Daylight daylight;
  if (!in.name()) return std::nullopt;
  daylight.utcOffset = rule.stdOffset_ + 3600;
  if (in.startsTime()) {
    auto offset = in.signedTime();
    if (!offset) return std::nullopt;
    daylight.utcOffset = -*offset;
  }
  auto readDay = [&in](Day& day) {
    if (in.accept('J')) {
      auto n = in.number(3, 365);
      if (!n || *n < 1) return false;
      day = {Day::Kind::kJulianNoLeap, *n, 0, 0};
      return true;
    }
    if (in.accept('M')) {
      auto month = in.number(2, 12);
      if (!month || *month < 1 || !in.accept('.')) return false;
      auto week = in.number(1, 5);
      if (!week || *week < 1 || !in.accept('.')) return false;
      auto weekday = in.number(1, 6);
      if (!weekday) return false;
      day = {Day::Kind::kMonthWeekDay, *weekday, *month, *week};
      return true;
    }
    auto n = in.number(3, 365);
    if (!n) return false;
    day = {Day::Kind::kZeroBased, *n, 0, 0};
    return true;
  };
  auto readChange = [&](Day& day, int32_t& time) {
    if (!in.accept(',') || !readDay(day)) return false;
    if (in.accept('/')) {
      auto t = in.signedTime();
      if (!t) return false;
      time = *t;
    }
    return true;
  };
  if (in.atEnd()) {
    // A daylight name without dates: the tz code's default, the United States rules.
    daylight.startDay = {Day::Kind::kMonthWeekDay, 0, 3, 2};
    daylight.endDay = {Day::Kind::kMonthWeekDay, 0, 11, 1};
  } else if (!readChange(daylight.startDay, daylight.startTime) ||
             !readChange(daylight.endDay, daylight.endTime) || !in.atEnd()) {
    return std::nullopt;
  }
  rule.daylight_ = daylight;
  return rule;
}

void PosixTzRule::changesOfYear(int64_t year, std::vector<OffsetChange>& out) const {
  auto dayNumber = [year](const Day& day) -> int64_t {
    const int64_t january1 = daysFromCivil(year, 1, 1);
    switch (day.kind) {
      case Day::Kind::kJulianNoLeap:
        return january1 + day.day - 1 + (isLeapYear(year) && day.day >= 60 ? 1 : 0);
      case Day::Kind::kZeroBased:
        return january1 + day.day;
      case Day::Kind::kMonthWeekDay: {
        const int64_t first = daysFromCivil(year, day.month, 1);
        const int64_t firstWeekday = (first % 7 + 7 + 4) % 7;  // 1970-01-01 was a Thursday
        int64_t result = first + (day.day - firstWeekday + 7) % 7 + (day.week - 1) * 7;
        const int64_t last = first + daysInMonth(year, day.month) - 1;
        while (result > last) result -= 7;  // week 5 means the last such weekday
        return result;
      }
    }
    return january1;
  };
  const Daylight& d = *daylight_;
  out.push_back({dayNumber(d.startDay) * kSecondsPerDay + d.startTime - stdOffset_, d.utcOffset});
  out.push_back({dayNumber(d.endDay) * kSecondsPerDay + d.endTime - d.utcOffset, stdOffset_});
}

int32_t PosixTzRule::utcOffsetAt(int64_t unixSeconds) const {
  if (!daylight_) return stdOffset_;
  // A year's changes can stray a few days into the next or previous year (times up to 167 h).
  const int64_t year = yearOf(unixSeconds);
  std::vector<OffsetChange> changes;
  for (int64_t y = year - 2; y <= year + 1; ++y) changesOfYear(y, changes);
  std::stable_sort(changes.begin(), changes.end(),
                   [](const OffsetChange& a, const OffsetChange& b) { return a.at < b.at; });
  int32_t offset = stdOffset_;
  for (const OffsetChange& c : changes) {
    if (c.at > unixSeconds) break;
    offset = c.utcOffset;
  }
  return offset;
}

std::vector<OffsetChange> PosixTzRule::changesBetween(int64_t from, int64_t to) const {
  std::vector<OffsetChange> changes;
  if (!daylight_) return changes;
  for (int64_t y = yearOf(from) - 1; y <= yearOf(to) + 1; ++y) changesOfYear(y, changes);
  std::erase_if(changes, [&](const OffsetChange& c) { return c.at <= from || c.at > to; });
  std::stable_sort(changes.begin(), changes.end(),
                   [](const OffsetChange& a, const OffsetChange& b) { return a.at < b.at; });
  return changes;
}

}  // namespace zelvo
