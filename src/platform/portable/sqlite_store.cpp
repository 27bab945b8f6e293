#include "zelvo/portable/sqlite_store.h"

#include <condition_variable>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "common/set_if_absent.h"
#include "common/concat.h"
#include "platform/portable/io_thread.h"
#include "platform/portable/store_file.h"

namespace zelvo::portable {
namespace {

using SteadyClock = std::chrono::steady_clock;

// How long destruction waits for the last commit; a disk slower than that finishes it later.
constexpr std::chrono::seconds kFinishLimit{30};

}  // namespace

// Lock order: `mutex` is a leaf; the file is touched only without it, by the constructor
// and then by the I/O thread alone, which commits the writes when they are due.
struct SqliteStore::Impl : IoThread::Source {
  Impl(LogSink& sink, std::chrono::milliseconds delay) : log(sink), writeDelay(delay) {}

  void prepare(std::vector<pollfd>& fds, std::optional<IoThread::Clock::time_point>& deadline) override;
  void dispatch(const pollfd* fds, std::size_t count, IoThread::Clock::time_point now) override;
  // The last commit, at shutdown; logs what could not be saved.
  void finish();
  // Called with the lock held; commits one batch with the lock released.
  void flush(std::unique_lock<std::mutex>& lock);
  void enqueue(const std::string& key, std::optional<std::string> text);

  LogSink& log;
  const std::chrono::milliseconds writeDelay;
  std::shared_ptr<IoThread> io;  // set while the file is written through it
  std::string path;
  std::unique_ptr<StoreFile> file;  // null when in memory only

  mutable std::mutex mutex;
  std::condition_variable flushed;
  Value::Dictionary values;
  StoreFile::Changes pending;
  std::optional<SteadyClock::time_point> flushAt;  // when the pending writes are due
  bool syncRequested = false;
  bool failing = false;         // the last attempt failed (logged once per run of failures)
  uint64_t writeCount = 0;      // writes handed to the writer so far
  uint64_t committedCount = 0;  // of those, how many are committed
  uint64_t attemptsStarted = 0;
  uint64_t lastFailedAttempt = 0;
};

SqliteStore::SqliteStore(LogSink& log, std::optional<std::string> path, std::chrono::milliseconds writeDelay)
    : SqliteStore(log, std::move(path), writeDelay, std::make_shared<IoThread>()) {}

SqliteStore::SqliteStore(LogSink& log, std::optional<std::string> path, std::chrono::milliseconds writeDelay,
                         std::shared_ptr<IoThread> ioThread)
    : impl_(std::make_shared<Impl>(log, writeDelay)) {
  if (!path) return;
  impl_->path = std::move(*path);
  StoreFile::Opened opened = StoreFile::open(impl_->path, log);
  impl_->values = std::move(opened.values);
  if (opened.file) {
    impl_->file = std::move(opened.file);
    if (ioThread->post([io = ioThread.get(), impl = impl_] { io->addSource(impl.get()); })) {
      impl_->io = std::move(ioThread);
    } else {
      // Out of threads: the values read stay, but nothing more reaches the file.
      log.write(LogSeverity::kWarning, "[ZV]: Cannot start the store's writer thread; keeping values in memory only");
      impl_->file.reset();
    }
  }
}

SqliteStore::~SqliteStore() {
  if (!impl_->io) return;
  // The task keeps the values alive, so a commit that takes longer than the wait still ends
  // well, and is logged if it fails.
  impl_->io->runAndWait([impl = impl_] { impl->finish(); }, kFinishLimit);
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
  std::optional<std::string> text = value.toTypedJson();
  if (!text) {
    // Refused whether or not there is a file, so that what a key holds never depends on it.
    impl_->log.write(LogSeverity::kWarning, concat({"[ZV]: Not storing the value of \"", key, "\": it nests deeper than ",
                                                    std::to_string(Value::kMaxNesting), " levels"}));
    return;
  }
  if (!impl_->file) text.reset();
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
  if (impl_->io->isIoThread()) {
    // Called from a task of the I/O thread itself: no one else would commit meanwhile.
    impl_->flush(lock);
    return impl_->committedCount >= target;
  }
  // Only an attempt that starts after this call carries every write made before it.
  const uint64_t attemptsBefore = impl_->attemptsStarted;
  impl_->syncRequested = true;
  impl_->io->wake();
  impl_->flushed.wait(lock, [&] {
    return impl_->committedCount >= target || impl_->lastFailedAttempt > attemptsBefore;
  });
  return impl_->committedCount >= target;
}

Value SqliteStore::setIfAbsent(const std::string& key, Value value) {
  if (!impl_->file || get(key)) return setIfAbsentInOneProcess(*this, key, std::move(value));
  std::optional<std::string> text = value.toTypedJson();
  if (!text) return setIfAbsentInOneProcess(*this, key, std::move(value));  // set() says why not
  // Decided by the file in one transaction on the I/O thread, after the writes before it.
  auto decided = std::make_shared<std::optional<Value>>();
  const bool ran = impl_->io->runAndWait(
      [impl = impl_, key, text = std::move(*text), decided] {
        std::unique_lock lock(impl->mutex);
        if (!impl->pending.empty()) impl->flush(lock);
        if (auto held = impl->values.find(key); held != impl->values.end()) {
          *decided = held->second;
          return;
        }
        lock.unlock();
        std::string error;
        const std::optional<std::string> kept = impl->file->setIfAbsent(key, text, error);
        std::optional<Value> value = kept ? Value::fromTypedJson(*kept) : std::nullopt;
        if (!value) {
          impl->log.write(LogSeverity::kWarning, concat({"[ZV]: Cannot save \"", key, "\" to ", impl->path, ": ",
                                                         kept ? "the stored value is unreadable" : error}));
          return;
        }
        lock.lock();
        impl->values.insert_or_assign(key, *value);
        *decided = std::move(value);
      },
      kFinishLimit);
  if (ran && *decided) return **decided;
  return setIfAbsentInOneProcess(*this, key, std::move(value));
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
  if (wakeWriter) io->wake();
}

void SqliteStore::Impl::prepare(std::vector<pollfd>&, std::optional<IoThread::Clock::time_point>& deadline) {
  std::lock_guard lock(mutex);
  std::optional<SteadyClock::time_point> due = flushAt;
  if (syncRequested) due = SteadyClock::now();
  if (due && (!deadline || *due < *deadline)) deadline = due;
}

void SqliteStore::Impl::dispatch(const pollfd*, std::size_t, IoThread::Clock::time_point now) {
  std::unique_lock lock(mutex);
  if (syncRequested || (flushAt && now >= *flushAt)) flush(lock);
}

void SqliteStore::Impl::finish() {
  io->removeSource(this);
  std::unique_lock lock(mutex);
  if (!pending.empty()) flush(lock);
  if (!pending.empty()) {
    log.write(LogSeverity::kError, concat({"[ZV]: Lost ", std::to_string(pending.size()), " unsaved value(s) of ", path, " at shutdown"}));
  }
  lock.unlock();
  // Closed here, before the destructor returns: the last owner of these values may be a task
  // the I/O thread lets go of later, and the file must be whole when the store is gone.
  file.reset();
}

void SqliteStore::Impl::flush(std::unique_lock<std::mutex>& lock) {
  StoreFile::Changes batch;
  batch.swap(pending);
  const uint64_t covered = writeCount;
  const uint64_t attempt = ++attemptsStarted;
  syncRequested = false;
  flushAt.reset();
  const bool failingAlready = failing;

  lock.unlock();
  std::optional<std::string> error;
  if (!file->stillAtPath()) {
    // Deleted or replaced under us: commits into the old file would reach no one.
    if (!failingAlready) {
      log.write(LogSeverity::kWarning,
                concat({"[ZV]: The store file ", path, " was deleted or replaced while in use; saving every value to a new one"}));
    }
    error = file->reopen(log);
    if (!error) {
      lock.lock();
      for (const auto& [key, value] : values) batch.try_emplace(key, value.toTypedJson());
      lock.unlock();
    }
  }
  if (!error) error = file->write(batch);
  lock.lock();

  if (!error) {
    committedCount = covered;
    if (failing) log.write(LogSeverity::kInfo, concat({"[ZV]: Saving to ", path, " works again"}));
    failing = false;
  } else {
    // Back in the queue unless written again meanwhile, and retried after the delay.
    for (auto& [key, text] : batch) pending.try_emplace(key, std::move(text));
    lastFailedAttempt = attempt;
    flushAt = SteadyClock::now() + writeDelay;
    if (!failing) log.write(LogSeverity::kWarning, concat({"[ZV]: Cannot save to ", path, ": ", *error, "; will retry"}));
    failing = true;
  }
  flushed.notify_all();
}

}  // namespace zelvo::portable
