#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "zelvo/platform/key_value_store.h"
#include "zelvo/platform/log_sink.h"
#include "zelvo/portable/host_platform_options.h"
#include "zelvo/export.h"

namespace zelvo::portable {

class IoThread;

// The application's preferences in an SQLite file, every value kept exactly (its type, and
// doubles and dates bit for bit).
//
// Reads come from memory. set() and remove() change memory at once and hand the write to
// the platform's I/O thread (one of the store's own when it is made alone), which commits the writes of the last `writeDelay` in one
// transaction; synchronize() blocks until every earlier write is committed durably, and
// destruction commits what is left. So the calling thread waits on the disk only in the
// constructor (which reads the file) and in synchronize().
//
// Nothing is ever thrown: a file that is not a database or is corrupt is renamed to
// NAME.corrupt-<UTC time> and a new one started; a file the process can read but not write
// (its mode or owner, a read-only file system) is read, left as it is, and the changes are
// kept in memory for the store's life; a file that cannot be opened at all (no permission to
// read, something else in its place), or a directory that cannot be created, leaves the store
// working in memory and the file untouched. A stored value that does not parse, or nests
// deeper than Value::kMaxNesting, is skipped. set() refuses a value nested deeper than
// Value::kMaxNesting: the key keeps what it held. Each of these is logged to the sink ("[ZV]:"
// lines).
//
// Several processes of the same application may share the file: SQLite's locking keeps it
// consistent, and the last writer of a key wins (setIfAbsent: the first). Each process reads
// the file when it opens it and does not see the others' later writes. A file deleted or
// replaced while the store is open is noticed at the next commit: every value is written to
// a new file at the path (and logged). The write-ahead log is kept to about 256 KiB.
//
// Something that is not a regular file at the path (a FIFO, a socket, a device) is never
// opened: the store keeps its values in memory and logs why.
//
// Thread: every member is safe from any thread.
class ZELVO_EXPORT SqliteStore : public KeyValueStore {
 public:
  static constexpr std::chrono::milliseconds kDefaultWriteDelay = portable::kDefaultStoreWriteDelay;

  // Where an application keeps the store. On Linux under the XDG rules:
  // $XDG_DATA_HOME/<identifier>/zelvo.sqlite when XDG_DATA_HOME is an absolute path, else
  // $HOME/.local/share/<identifier>/zelvo.sqlite; on Windows
  // %LOCALAPPDATA%\<identifier>\zelvo.sqlite. Nothing when there is no home directory
  // or the identifier cannot be a directory name (empty, ".", "..", or holding a path separator).
  static std::optional<std::string> defaultPath(const std::string& applicationIdentifier);

  // Opens or creates the file at `path` (creating its directories); nothing keeps the
  // values in memory only. The sink must outlive the store.
  SqliteStore(LogSink& log, std::optional<std::string> path,
              std::chrono::milliseconds writeDelay = kDefaultWriteDelay);
  // Commits through `ioThread` (the platform's, shared with its other services).
  SqliteStore(LogSink& log, std::optional<std::string> path, std::chrono::milliseconds writeDelay,
              std::shared_ptr<IoThread> ioThread);
  // Commits the pending writes (a failure is logged) and closes the file.
  ~SqliteStore() override;
  SqliteStore(const SqliteStore&) = delete;
  SqliteStore& operator=(const SqliteStore&) = delete;

  std::optional<Value> get(const std::string& key) const override;
  void set(const std::string& key, Value value) override;
  void remove(const std::string& key) override;
  // False when the writes could not be committed, or when the store has no file.
  bool synchronize() override;
  // Decided by the file in one transaction: of several processes starting on a new file at
  // once, the first to write wins and the others read its value.
  Value setIfAbsent(const std::string& key, Value value) override;

  // Whether the values reach a file (false when the store keeps its changes in memory).
  bool isPersistent() const;

 private:
  struct Impl;
  std::shared_ptr<Impl> impl_;
};

}  // namespace zelvo::portable
