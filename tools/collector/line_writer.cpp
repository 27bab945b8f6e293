#include "collector/line_writer.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <iostream>
#include <optional>
#include <utility>

namespace zelvo::collector {
namespace {

constexpr auto kCloseGrace = std::chrono::seconds(1);
constexpr int kPollMillis = 100;
// At most a pipe's atomic size at a time: once poll() says a pipe has room, a write of
// this much does not block.
constexpr std::size_t kWriteBytes = 4096;

}  // namespace

LineWriter::LineWriter(int fd, std::string name, std::size_t maxQueuedBytes)
    : fd_(fd), name_(std::move(name)), maxQueuedBytes_(maxQueuedBytes), thread_([this] { run(); }) {}

std::size_t LineWriter::close() {
  {
    std::lock_guard lock(mutex_);
    closing_ = true;
  }
  queued_.notify_all();
  if (thread_.joinable()) thread_.join();
  std::lock_guard lock(mutex_);
  return lost_;
}

bool LineWriter::write(std::string line) {
  line += '\n';
  {
    std::lock_guard lock(mutex_);
    if (closing_ || queuedBytes_ + line.size() > maxQueuedBytes_) {
      ++lost_;
      return false;
    }
    queuedBytes_ += line.size();
    lines_.push_back(std::move(line));
  }
  queued_.notify_one();
  return true;
}

void LineWriter::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    queued_.wait(lock, [this] { return closing_ || !lines_.empty(); });
    if (lines_.empty()) return;
    const std::string line = std::move(lines_.front());
    lines_.pop_front();
    queuedBytes_ -= line.size();
    lock.unlock();
    const bool written = writeAll(line);
    const int error = errno;
    lock.lock();
    if (written) continue;
    ++lost_;
    if (closing_) {
      // Given up: the destination takes nothing more in time.
      lost_ += lines_.size();
      lines_.clear();
      return;
    }
    if (!reported_) {
      reported_ = true;
      std::cerr << "zelvo-collector: cannot write to " << name_ << ": " << std::strerror(error)
                << "; its lines are being lost" << std::endl;
    }
  }
}

bool LineWriter::writeAll(const std::string& text) {
  std::optional<std::chrono::steady_clock::time_point> giveUpAt;
  for (std::size_t done = 0; done < text.size();) {
    pollfd wanted{fd_, POLLOUT, 0};
    const int ready = ::poll(&wanted, 1, kPollMillis);
    if (ready == 0) {
      std::lock_guard lock(mutex_);
      if (closing_ && !giveUpAt) giveUpAt = std::chrono::steady_clock::now() + kCloseGrace;
      if (giveUpAt && std::chrono::steady_clock::now() >= *giveUpAt) {
        errno = ETIMEDOUT;
        return false;
      }
      continue;
    }
    if (ready < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    const ssize_t written = ::write(fd_, text.data() + done, std::min(kWriteBytes, text.size() - done));
    if (written < 0) {
      if (errno == EINTR || errno == EAGAIN) continue;
      return false;
    }
    done += static_cast<std::size_t>(written);
  }
  return true;
}

}  // namespace zelvo::collector
