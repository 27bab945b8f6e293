#pragma once

#include <sys/types.h>

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "zelvo/platform/log_sink.h"
#include "zelvo/value.h"

struct sqlite3;

namespace zelvo::portable {

// The SQLite file behind SqliteStore: one table of keys and values in their typed JSON
// text. Opening creates what is missing. Only a damaged file (not a database, or corrupt) is
// moved aside and a new one started: a file the process may read but not write (its mode, its
// owner, a read-only file system) is read and left as it is, and so is one it cannot open at
// all, since its values may be whole and only the permissions in the way. Something that is
// not a regular file at the path (a FIFO, a socket, a device) is left alone unopened: opening
// it could block, or read forever.
// Thread: one thread at a time.
class StoreFile {
 public:
  // Changes to write: a key's new value text, or nothing to delete the key.
  using Changes = std::map<std::string, std::optional<std::string>>;

  struct Opened {
    std::unique_ptr<StoreFile> file;  // null when the file cannot be written
    Value::Dictionary values;         // what could be read, writable or not
  };

  // Opens (creating directories with mode 0700 and the file with mode 0600) and reads every
  // stored value; values whose text does not parse are skipped. Every problem is logged.
  static Opened open(const std::string& path, LogSink& log);

  ~StoreFile();
  StoreFile(const StoreFile&) = delete;
  StoreFile& operator=(const StoreFile&) = delete;

  // Writes `changes` in one transaction and commits it durably; the error text on failure,
  // with nothing written. A disk too full for the write first gets the journal's space back.
  std::optional<std::string> write(const Changes& changes);

  // Stores `text` under `key` unless the file holds a value there, in one transaction; the
  // text the file holds afterwards, or the error text in `error`.
  std::optional<std::string> setIfAbsent(const std::string& key, const std::string& text, std::string& error);

  // Whether the file at the path is still the one open (neither deleted nor replaced).
  bool stillAtPath() const;
  // Closes the file and opens the one at the path now, creating it; the error text when that
  // fails, and then no file is open (writes fail) until a later reopen succeeds.
  std::optional<std::string> reopen(LogSink& log);

 private:
  StoreFile(sqlite3* db, std::string path);
  sqlite3* db_;
  std::string path_;
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

}  // namespace zelvo::portable
