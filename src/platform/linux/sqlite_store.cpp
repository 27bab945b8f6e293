#include "zelvo/linux/sqlite_store.h"

#include <pwd.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "platform/linux/store_file.h"

namespace zelvo::linux_platform {
namespace {

using SteadyClock = std::chrono::steady_clock;

std::optional<std::string> homeDirectory() {
  if (const char* home = std::getenv("HOME"); home && home[0] == '/') return std::string(home);
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && found->pw_dir &&
      found->pw_dir[0] == '/') {
    return std::string(found->pw_dir);
  }
  return std::nullopt;
}

}  // namespace

// Lock order: `mutex` is a leaf; the file is touched only without it, by the constructor
// and then by the writer thread alone.
struct SqliteStore::Impl {
  Impl(LogSink& sink, std::chrono::milliseconds delay) : log(sink), writeDelay(delay) {}

  void writerLoop();
  // Called with the lock held; commits one batch with the lock released.
  void flush(std::unique_lock<std::mutex>& lock);
  void enqueue(const std::string& key, std::optional<std::string> text);

  LogSink& log;
  const std::chrono::milliseconds writeDelay;
  std::string path;
  std::unique_ptr<StoreFile> file;  // null when in memory only

  mutable std::mutex mutex;
  std::condition_variable writerWake;
  std::condition_variable flushed;
  Value::Dictionary values;
  StoreFile::Changes pending;
  std::optional<SteadyClock::time_point> flushAt;  // when the pending writes are due
  bool syncRequested = false;
  bool stopping = false;
  bool failing = false;         // the last attempt failed (logged once per run of failures)
  uint64_t writeCount = 0;      // writes handed to the writer so far
  uint64_t committedCount = 0;  // of those, how many are committed
  uint64_t attemptsStarted = 0;
  uint64_t lastFailedAttempt = 0;
  std::thread writer;
};

std::optional<std::string> SqliteStore::defaultPath(const std::string& applicationIdentifier) {
  if (applicationIdentifier.empty() || applicationIdentifier == "." || applicationIdentifier == ".." ||
      applicationIdentifier.find('/') != std::string::npos) {
    return std::nullopt;
  }
  std::string dataHome;
  if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg && xdg[0] == '/') {
    dataHome = xdg;
  } else if (std::optional<std::string> home = homeDirectory()) {
    dataHome = *home + "/.local/share";
  } else {
    return std::nullopt;
  }
  return dataHome + "/" + applicationIdentifier + "/zelvo.sqlite";
}

SqliteStore::SqliteStore(LogSink& log, std::optional<std::string> path, std::chrono::milliseconds writeDelay)
    : impl_(std::make_unique<Impl>(log, writeDelay)) {
  if (!path) return;
  impl_->path = std::move(*path);
  if (std::optional<StoreFile::Opened> opened = StoreFile::open(impl_->path, log)) {
    impl_->file = std::move(opened->file);
    impl_->values = std::move(opened->values);
    try {
      impl_->writer = std::thread([impl = impl_.get()] { impl->writerLoop(); });
    } catch (const std::system_error& error) {
      // Out of threads: the values read stay, but nothing more reaches the file.
      log.write(LogSeverity::kWarning, std::string("[ZV]: Cannot start the store's writer thread (") + error.what() +
                "); keeping values in memory only");
      impl_->file.reset();
    }
  }
}

SqliteStore::~SqliteStore() {
  if (!impl_->writer.joinable()) return;
  {
    std::lock_guard lock(impl_->mutex);
    impl_->stopping = true;
  }
  impl_->writerWake.notify_one();
  impl_->writer.join();
}

std::optional<Value> SqliteStore::get(const std::string& key) const {
  std::lock_guard lock(impl_->mutex);
  auto it = impl_->values.find(key);
  if (it == impl_->values.end()) return std::nullopt;
  return it->second;
}

void SqliteStore::set(const std::string& key, Value value) {
  if (value.isNil()) {
    remove(key);
    return;
  }
  // Serialised before taking the lock, which the writer thread also needs.
  std::optional<std::string> text;
  if (impl_->file) text = value.toTypedJson();
  {
    std::lock_guard lock(impl_->mutex);
    impl_->values.insert_or_assign(key, std::move(value));
  }
  if (text) impl_->enqueue(key, std::move(text));
}

void SqliteStore::remove(const std::string& key) {
  {
    std::lock_guard lock(impl_->mutex);
    impl_->values.erase(key);
  }
  if (impl_->file) impl_->enqueue(key, std::nullopt);
}

bool SqliteStore::synchronize() {
  if (!impl_->file) return false;
  std::unique_lock lock(impl_->mutex);
  const uint64_t target = impl_->writeCount;
  if (impl_->committedCount >= target) return true;
  // Only an attempt that starts after this call carries every write made before it.
  const uint64_t attemptsBefore = impl_->attemptsStarted;
  impl_->syncRequested = true;
  impl_->writerWake.notify_one();
  impl_->flushed.wait(lock, [&] {
    return impl_->committedCount >= target || impl_->lastFailedAttempt > attemptsBefore;
  });
  return impl_->committedCount >= target;
}

bool SqliteStore::isPersistent() const { return impl_->file != nullptr; }

void SqliteStore::Impl::enqueue(const std::string& key, std::optional<std::string> text) {
  bool wakeWriter = false;
  {
    std::lock_guard lock(mutex);
    // Set and removal of one key keep their order: they share the key's slot in `pending`.
    pending.insert_or_assign(key, std::move(text));
    ++writeCount;
    if (!flushAt) {
      flushAt = SteadyClock::now() + writeDelay;
      wakeWriter = true;
    }
  }
  if (wakeWriter) writerWake.notify_one();
}

void SqliteStore::Impl::writerLoop() {
  std::unique_lock lock(mutex);
  for (;;) {
    const auto ready = [this] {
      return stopping || syncRequested || (flushAt && SteadyClock::now() >= *flushAt);
    };
    if (flushAt) {
      writerWake.wait_until(lock, *flushAt, ready);
    } else {
      // Until a first write sets the deadline, then round again to wait for it.
      writerWake.wait(lock, [this] { return stopping || syncRequested || flushAt.has_value(); });
    }
    if (!ready()) continue;
    flush(lock);
    if (stopping) {
      if (!pending.empty()) {
        log.write(LogSeverity::kError, "[ZV]: Lost " + std::to_string(pending.size()) + " unsaved value(s) of " + path +
                  " at shutdown");
      }
      return;
    }
  }
}

void SqliteStore::Impl::flush(std::unique_lock<std::mutex>& lock) {
  StoreFile::Changes batch;
  batch.swap(pending);
  const uint64_t covered = writeCount;
  const uint64_t attempt = ++attemptsStarted;
  syncRequested = false;
  flushAt.reset();

  lock.unlock();
  std::optional<std::string> error = file->write(batch);
  lock.lock();

  if (!error) {
    committedCount = covered;
    if (failing) log.write(LogSeverity::kInfo, "[ZV]: Saving to " + path + " works again");
    failing = false;
  } else {
    // Back in the queue unless written again meanwhile, and retried after the delay.
    for (auto& [key, text] : batch) pending.try_emplace(key, std::move(text));
    lastFailedAttempt = attempt;
    flushAt = SteadyClock::now() + writeDelay;
    if (!failing) log.write(LogSeverity::kWarning, "[ZV]: Cannot save to " + path + ": " + *error + "; will retry");
    failing = true;
  }
  flushed.notify_all();
}

}  // namespace zelvo::linux_platform
