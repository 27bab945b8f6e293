#include "platform/common/time_zone.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>

#include "platform/common/day_arithmetic.h"
#include "zelvo/platform/clock.h"

namespace zelvo {
namespace {

// Instants are clamped to about ±300,000 years, far past any real date, so that the calendar
// arithmetic never overflows.
constexpr double kInstantLimit = 1e13;
constexpr std::size_t kMaxFileSize = 1 << 20;

int64_t toWholeSeconds(double seconds) {
  if (std::isnan(seconds)) return 0;
  return static_cast<int64_t>(std::floor(std::clamp(seconds, -kInstantLimit, kInstantLimit)));
}

// Reads big-endian fields; once a read runs past the end, every later read fails too.
class ByteReader {
 public:
  explicit ByteReader(std::string_view bytes) : bytes_(bytes) {}
  bool ok() const { return ok_; }
  bool take(uint64_t n, std::string_view& out) {
    if (!ok_ || n > bytes_.size() - pos_) return ok_ = false;
    out = bytes_.substr(pos_, n);
    pos_ += n;
    return true;
  }
  bool skip(uint64_t n) {
    std::string_view ignored;
    return take(n, ignored);
  }
  uint64_t unsignedBigEndian(int size) {
    std::string_view field;
    if (!take(size, field)) return 0;
    uint64_t value = 0;
    for (char c : field) value = (value << 8) | static_cast<uint8_t>(c);
    return value;
  }
  int64_t signedBigEndian(int size) {
    const uint64_t value = unsignedBigEndian(size);
    if (size == 8) return static_cast<int64_t>(value);
    return static_cast<int32_t>(static_cast<uint32_t>(value));
  }
  char next() {
    std::string_view c;
    return take(1, c) ? c[0] : '\0';
  }
  std::string_view rest() const { return bytes_.substr(pos_); }

 private:
  std::string_view bytes_;
  std::size_t pos_ = 0;
  bool ok_ = true;
};

struct TzifHeader {
  char version = 0;
  uint64_t isUtCount = 0, isStdCount = 0, leapCount = 0, timeCount = 0, typeCount = 0, charCount = 0;
};

std::optional<TzifHeader> readHeader(ByteReader& in) {
  std::string_view magic;
  if (!in.take(4, magic) || magic != "TZif") return std::nullopt;
  TzifHeader h;
  h.version = in.next();
  in.skip(15);
  h.isUtCount = in.unsignedBigEndian(4);
  h.isStdCount = in.unsignedBigEndian(4);
  h.leapCount = in.unsignedBigEndian(4);
  h.timeCount = in.unsignedBigEndian(4);
  h.typeCount = in.unsignedBigEndian(4);
  h.charCount = in.unsignedBigEndian(4);
  if (!in.ok() || h.typeCount == 0) return std::nullopt;
  return h;
}

uint64_t dataBlockSize(const TzifHeader& h, int timeSize) {
  return h.timeCount * (timeSize + 1) + h.typeCount * 6 + h.charCount +
         h.leapCount * (timeSize + 4) + h.isStdCount + h.isUtCount;
}

}  // namespace

TimeZone TimeZone::utc() { return TimeZone(); }

std::optional<TimeZone> TimeZone::load(const std::string& name) {
  if (name == "UTC" || name == "Etc/UTC") return utc();
  // The name becomes a path below the database: no absolute paths, no way out of it.
  if (name.empty() || name.front() == '/') return std::nullopt;
  std::size_t start = 0;
  while (start <= name.size()) {
    std::size_t end = name.find('/', start);
    if (end == std::string::npos) end = name.size();
    std::string_view part(name.data() + start, end - start);
    if (part.empty() || part == "." || part == "..") return std::nullopt;
    start = end + 1;
  }
  return fromFile("/usr/share/zoneinfo/" + name);
}

std::optional<TimeZone> TimeZone::fromFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::string bytes;
  bytes.resize(kMaxFileSize + 1);
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  const auto size = static_cast<std::size_t>(file.gcount());
  if (size > kMaxFileSize) return std::nullopt;
  bytes.resize(size);
  return fromTzif(bytes);
}

std::optional<TimeZone> TimeZone::fromTzif(std::string_view bytes) {
  ByteReader in(bytes);
  auto header = readHeader(in);
  if (!header) return std::nullopt;
  int timeSize = 4;
  if (header->version != '\0') {
    // Version 2 and later repeat the data with 64-bit times; the first block is for old readers.
    if (!in.skip(dataBlockSize(*header, 4))) return std::nullopt;
    header = readHeader(in);
    if (!header) return std::nullopt;
    timeSize = 8;
  }
  const TzifHeader& h = *header;
  if (dataBlockSize(h, timeSize) > in.rest().size()) return std::nullopt;

  std::vector<int64_t> times(h.timeCount);
  for (int64_t& t : times) t = in.signedBigEndian(timeSize);
  std::vector<uint8_t> typeIndices(h.timeCount);
  for (uint8_t& index : typeIndices) index = static_cast<uint8_t>(in.unsignedBigEndian(1));
  std::vector<int32_t> typeOffsets(h.typeCount);
  for (int32_t& offset : typeOffsets) {
    offset = static_cast<int32_t>(in.signedBigEndian(4));
    in.skip(2);  // is-DST flag and abbreviation index: not needed for offsets
  }
  // Abbreviations, leap seconds and the standard/UT indicators do not change local offsets.
  in.skip(h.charCount + h.leapCount * (timeSize + 4) + h.isStdCount + h.isUtCount);
  if (!in.ok()) return std::nullopt;

  TimeZone zone;
  zone.initialOffset_ = typeOffsets[0];
  for (std::size_t i = 0; i < times.size(); ++i) {
    if (typeIndices[i] >= typeOffsets.size()) return std::nullopt;
    if (i > 0 && times[i] <= times[i - 1]) return std::nullopt;
    zone.transitions_.push_back({times[i], typeOffsets[typeIndices[i]]});
  }
  if (timeSize == 8) {
    // The footer: a POSIX rule between newlines; empty when the zone has none.
    if (in.next() != '\n') return std::nullopt;
    std::string_view rest = in.rest();
    const std::size_t end = rest.find('\n');
    if (end == std::string_view::npos) return std::nullopt;
    if (end > 0) {
      zone.rule_ = PosixTzRule::parse(rest.substr(0, end));
      if (!zone.rule_) return std::nullopt;
    }
  }
  return zone;
}

int32_t TimeZone::offsetAfter(std::size_t transition) const {
  // From the last transition on, the rule tells the time.
  if (rule_ && transition + 1 == transitions_.size()) return rule_->utcOffsetAt(transitions_[transition].at);
  return transitions_[transition].utcOffset;
}

int32_t TimeZone::offsetAt(int64_t unixSeconds) const {
  if (transitions_.empty()) return rule_ ? rule_->utcOffsetAt(unixSeconds) : initialOffset_;
  auto next = std::upper_bound(transitions_.begin(), transitions_.end(), unixSeconds,
                               [](int64_t t, const OffsetChange& c) { return t < c.at; });
  if (next == transitions_.begin()) return initialOffset_;
  if (next == transitions_.end() && rule_) return rule_->utcOffsetAt(unixSeconds);
  return std::prev(next)->utcOffset;
}

std::vector<OffsetChange> TimeZone::offsetsBetween(int64_t from, int64_t to) const {
  std::vector<OffsetChange> changes{{from, offsetAt(from)}};
  auto first = std::upper_bound(transitions_.begin(), transitions_.end(), from,
                                [](int64_t t, const OffsetChange& c) { return t < c.at; });
  for (auto it = first; it != transitions_.end() && it->at <= to; ++it) {
    changes.push_back({it->at, offsetAfter(static_cast<std::size_t>(it - transitions_.begin()))});
  }
  if (rule_) {
    const int64_t ruleFrom = transitions_.empty() ? from : std::max(from, transitions_.back().at);
    for (const OffsetChange& c : rule_->changesBetween(ruleFrom, to)) changes.push_back(c);
  }
  return changes;
}

double TimeZone::utcOffsetAt(double unixSeconds) const { return offsetAt(toWholeSeconds(unixSeconds)); }

double TimeZone::startOfDay(double instantSince2001) const {
  return startOfLocalDay(
      instantSince2001, [this](int64_t unixSeconds) { return offsetAt(unixSeconds); },
      [this](int64_t from, int64_t to) { return offsetsBetween(from, to); });
}

double startOfLocalDay(double instantSince2001, const std::function<int32_t(int64_t)>& offsetAt,
                       const std::function<std::vector<OffsetChange>(int64_t, int64_t)>& offsetsBetween) {
  if (!std::isfinite(instantSince2001)) return instantSince2001;
  const int64_t unix = toWholeSeconds(instantSince2001 + kSecondsFrom1970To2001);
  const int64_t localMidnight = floorDiv(unix + offsetAt(unix), kSecondsPerDay) * kSecondsPerDay;
  // Offsets stay within about a day of UTC, so the day's first instant lies in this window.
  // Within each stretch of constant offset, the first instant at or after local midnight is
  // midnight itself or the stretch's start (when the clocks jumped over midnight).
  const auto changes = offsetsBetween(localMidnight - 2 * kSecondsPerDay, localMidnight + 2 * kSecondsPerDay);
  int64_t first = std::numeric_limits<int64_t>::max();
  for (std::size_t i = 0; i < changes.size(); ++i) {
    const int64_t stretchEnd = i + 1 < changes.size() ? changes[i + 1].at : std::numeric_limits<int64_t>::max();
    const int64_t candidate = std::max(changes[i].at, localMidnight - changes[i].utcOffset);
    if (candidate < stretchEnd) first = std::min(first, candidate);
  }
  return static_cast<double>(first) - kSecondsFrom1970To2001;
}

}  // namespace zelvo
