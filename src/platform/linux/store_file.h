#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "zelvo/platform/log_sink.h"
#include "zelvo/value.h"

struct sqlite3;

namespace zelvo::linux_platform {

// The SQLite file behind SqliteStore: one table of keys and values in their typed JSON
// text. Opening creates what is missing; a file that cannot be used (not a database,
// corrupt, unreadable, not a file) is moved aside and a new one started.
// Thread: one thread at a time.
class StoreFile {
 public:
  // Changes to write: a key's new value text, or nothing to delete the key.
  using Changes = std::map<std::string, std::optional<std::string>>;

  struct Opened {
    std::unique_ptr<StoreFile> file;
    Value::Dictionary values;
  };

  // Opens (creating directories with mode 0700 and the file with mode 0600) and reads every
  // stored value; values whose text does not parse are skipped. Nothing when no file can be
  // used. Every problem is logged.
  static std::optional<Opened> open(const std::string& path, LogSink& log);

  ~StoreFile();
  StoreFile(const StoreFile&) = delete;
  StoreFile& operator=(const StoreFile&) = delete;

  // Writes `changes` in one transaction and commits it durably; the error text on failure,
  // with nothing written.
  std::optional<std::string> write(const Changes& changes);

 private:
  explicit StoreFile(sqlite3* db) : db_(db) {}
  sqlite3* db_;
};

}  // namespace zelvo::linux_platform
