#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace zelvo::collector {

// Writes lines to a file descriptor on a thread of its own, so that whoever hands it a line
// never waits on the reader at the other end (a pager left on its first screen, a slow disk).
// Lines wait in a queue of at most `maxQueuedBytes`; a line that does not fit is dropped and
// counted, and so is every line a write fails on (a full disk, a reader gone). The first
// failure is reported on standard error when it happens.
// Thread: any.
class LineWriter {
 public:
  // `name` names the destination in the report. The descriptor stays the caller's.
  LineWriter(int fd, std::string name, std::size_t maxQueuedBytes);
  ~LineWriter() { close(); }
  LineWriter(const LineWriter&) = delete;
  LineWriter& operator=(const LineWriter&) = delete;

  // Queues `line` (a newline is added); false when it was dropped.
  bool write(std::string line);
  // Writes what is queued while the destination takes it, for up to a second more when it
  // does not (what is left then is lost), and ends the thread. Later lines are dropped.
  // Returns how many lines were lost in all: dropped, or not written whole. Idempotent.
  std::size_t close();

 private:
  void run();
  // Writes all of `text`, waiting for the destination only while the writer is not closing
  // or its grace has not run out; false when it gave up or the write failed.
  bool writeAll(const std::string& text);

  const int fd_;
  const std::string name_;
  const std::size_t maxQueuedBytes_;
  std::mutex mutex_;
  std::condition_variable queued_;
  std::deque<std::string> lines_;
  std::size_t queuedBytes_ = 0;
  std::size_t lost_ = 0;
  bool closing_ = false;
  bool reported_ = false;
  std::thread thread_;
};

}  // namespace zelvo::collector
