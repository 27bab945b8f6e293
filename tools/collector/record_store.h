#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "collector/request_record.h"
#include "collector/session_summary.h"

namespace zelvo::collector {

// Cuts what a record keeps of a request to a few tens of kilobytes, whatever was sent: the
// query, the parameters, the decoded path, the header values and the violations. Marks the
// record truncated when it cut anything.
void capRecord(RequestRecord& record);

// About how many bytes of memory a record holds.
std::size_t recordBytes(const RequestRecord& record);

// The records the collector keeps, the one copy of each: capped one by one, and the oldest
// dropped once they hold more than `maxBytes` in all. The session summary counts every
// record, dropped or not.
// Thread: one at a time (the collector holds its lock).
class RecordStore {
 public:
  explicit RecordStore(std::size_t maxBytes) : maxBytes_(maxBytes) {}

  // Caps the record, counts it and keeps it; the kept copy.
  const RequestRecord& add(RequestRecord record);

  std::vector<RequestRecord> all() const { return {records_.begin(), records_.end()}; }
  // Up to `count` kept records whose sequence is after `sequence`, in order.
  std::vector<RequestRecord> after(uint64_t sequence, std::size_t count) const;
  std::size_t received() const { return tally_.summary().requests; }
  std::size_t dropped() const { return dropped_; }
  std::size_t keptBytes() const { return keptBytes_; }
  const SessionSummary& summary() const { return tally_.summary(); }

 private:
  const std::size_t maxBytes_;
  std::deque<RequestRecord> records_;
  std::size_t keptBytes_ = 0;
  std::size_t dropped_ = 0;
  SessionTally tally_;
};

}  // namespace zelvo::collector
