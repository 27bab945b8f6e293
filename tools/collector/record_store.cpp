#include "collector/record_store.h"

#include <algorithm>
#include <string>

namespace zelvo::collector {
namespace {

constexpr std::size_t kFieldBytes = 256;       // method, host, user agent
constexpr std::size_t kQueryBytes = 8 * 1024;  // a real ping's query is far shorter
constexpr std::size_t kValueBytes = 1024;      // each parameter, and the decoded path
constexpr std::size_t kParamBytes = 4 * 1024;  // all parameters
constexpr std::size_t kViolations = 48;  // every key of a ping missing, and more
constexpr std::size_t kMessageBytes = 256;
constexpr std::size_t kRecordOverhead = 256;

bool cut(std::string& text, std::size_t bytes) {
  if (text.size() <= bytes) return false;
  text.resize(bytes);
  text.shrink_to_fit();
  return true;
}

}  // namespace

void capRecord(RequestRecord& record) {
  bool cutAny = cut(record.method, kFieldBytes);
  cutAny |= cut(record.host, kFieldBytes);
  cutAny |= cut(record.userAgent, kFieldBytes);
  cutAny |= cut(record.path, kValueBytes);
  cutAny |= cut(record.query, kQueryBytes);
  std::size_t paramBytes = 0;
  for (auto param = record.params.begin(); param != record.params.end();) {
    cutAny |= cut(param->second, kValueBytes);
    paramBytes += param->first.size() + param->second.size();
    if (param->first.size() > kFieldBytes || paramBytes > kParamBytes) {
      param = record.params.erase(param);
      cutAny = true;
    } else {
      ++param;
    }
  }
  if (record.ping) {
    cutAny |= cut(record.ping->path, kValueBytes);
    cutAny |= cut(record.ping->activity, kFieldBytes);
  }
  if (record.violations.size() > kViolations) {
    record.violations.resize(kViolations);
    cutAny = true;
  }
  for (Violation& violation : record.violations) {
    cutAny |= cut(violation.key, kFieldBytes);
    cutAny |= cut(violation.message, kMessageBytes);
  }
  record.truncated = record.truncated || cutAny;
}

std::size_t recordBytes(const RequestRecord& record) {
  std::size_t bytes = kRecordOverhead + record.method.size() + record.host.size() + record.path.size() +
                      record.query.size() + record.userAgent.size();
  for (const auto& [key, value] : record.params) bytes += 64 + key.size() + value.size();
  if (record.ping) bytes += record.ping->path.size() + record.ping->activity.size();
  for (const Violation& violation : record.violations) bytes += 64 + violation.key.size() + violation.message.size();
  return bytes;
}

const RequestRecord& RecordStore::add(RequestRecord record) {
  capRecord(record);
  tally_.add(record);
  keptBytes_ += recordBytes(record);
  records_.push_back(std::move(record));
  // The newest record is always kept, so that whoever is told about it can read it.
  while (keptBytes_ > maxBytes_ && records_.size() > 1) {
    keptBytes_ -= recordBytes(records_.front());
    records_.pop_front();
    ++dropped_;
  }
  return records_.back();
}

std::vector<RequestRecord> RecordStore::after(uint64_t sequence, std::size_t count) const {
  auto first = std::upper_bound(records_.begin(), records_.end(), sequence,
                                [](uint64_t wanted, const RequestRecord& record) { return wanted < record.sequence; });
  const auto available = static_cast<std::size_t>(records_.end() - first);
  return {first, first + static_cast<std::ptrdiff_t>(std::min(count, available))};
}

}  // namespace zelvo::collector
