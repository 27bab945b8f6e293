#include "platform/portable/store_file.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <thread>
#include <utility>

#include "common/concat.h"
#include "platform/portable/store_file_system.h"

namespace zelvo::portable {
namespace {

// How long a write waits for another process of the application that holds the file.
constexpr int kBusyTimeoutMs = 5000;

struct DbCloser {
  void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
};
using Db = std::unique_ptr<sqlite3, DbCloser>;

struct StatementFinalizer {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

// An SQLite failure: its result code and a readable message.
struct Failure {
  int code = SQLITE_OK;
  std::string message;
};

// The system's reason is kept where SQLite's message alone ("unable to open database file")
// would not tell a missing permission from a missing file.
Failure failureOf(sqlite3* db, int code) {
  Failure failure{code, db ? sqlite3_errmsg(db) : sqlite3_errstr(code)};
  if (const int error = db ? sqlite3_system_errno(db) : 0; error != 0 && (code & 0xff) == SQLITE_CANTOPEN) {
    failure.message += ": " + systemErrorText(error);
  }
  return failure;
}

std::optional<Failure> exec(sqlite3* db, const char* sql) {
  const int code = sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) return failureOf(db, code);
  return std::nullopt;
}

std::optional<Failure> prepare(sqlite3* db, const char* sql, Statement& out) {
  sqlite3_stmt* raw = nullptr;
  const int code = sqlite3_prepare_v2(db, sql, -1, &raw, nullptr);
  out.reset(raw);
  if (code != SQLITE_OK) return failureOf(db, code);
  return std::nullopt;
}

std::string columnText(sqlite3_stmt* statement, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  if (!text) return {};
  return std::string(text, static_cast<size_t>(sqlite3_column_bytes(statement, column)));
}

std::optional<Failure> readValues(sqlite3* db, const std::string& path, LogSink& log, Value::Dictionary& values) {
  Statement check;
  if (auto failure = prepare(db, "PRAGMA quick_check", check)) return failure;
  const int checkCode = sqlite3_step(check.get());
  if (checkCode != SQLITE_ROW) return failureOf(db, checkCode);
  if (std::string verdict = columnText(check.get(), 0); verdict != "ok") return Failure{SQLITE_CORRUPT, verdict};

  Statement select;
  if (auto failure = prepare(db, "SELECT key, value FROM zelvo_values", select)) return failure;
  int code;
  while ((code = sqlite3_step(select.get())) == SQLITE_ROW) {
    std::string key = columnText(select.get(), 0);
    Value::ReadFailure failure = Value::ReadFailure::kMalformed;
    std::optional<Value> value = Value::fromTypedJson(columnText(select.get(), 1), &failure);
    if (!value || value->isNil()) {
      log.write(LogSeverity::kWarning,
                concat({"[ZV]: Skipping the ",
                        value || failure == Value::ReadFailure::kMalformed ? "unreadable" : "too deeply nested",
                        " stored value of \"", key, "\" in ", path}));
      continue;
    }
    values.insert_or_assign(std::move(key), std::move(*value));
  }
  if (code != SQLITE_DONE) return failureOf(db, code);
  return std::nullopt;
}

// Failures that say the file's content is damaged, the only ones moving it aside cures.
// Permissions, a read-only file system, a busy lock, a full disk or something else in the
// file's place say nothing about its values, which may all be whole.
bool fileIsDamaged(int code) { return (code & 0xff) == SQLITE_NOTADB || (code & 0xff) == SQLITE_CORRUPT; }

// Opens the file for writing and reads it whole: a damaged file shows itself here rather
// than later.
std::optional<Failure> openAndRead(const std::string& path, LogSink& log, Db& db, Value::Dictionary& values) {
  createPrivateFile(path);
  sqlite3* raw = nullptr;
  const int code = sqlite3_open_v2(path.c_str(), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  db.reset(raw);
  if (code != SQLITE_OK) return failureOf(raw, code);
  // SQLite opens a file it may not write for reading instead; readOnly() below reads it.
  if (sqlite3_db_readonly(raw, "main") == 1) {
    return Failure{SQLITE_READONLY, whyNotWritable(path)};
  }
  sqlite3_busy_timeout(raw, kBusyTimeoutMs);
  // WAL with synchronous=FULL: a commit returns only after its WAL frames are fsync'd, so a
  // committed write survives the process being killed and the machine losing power alike.
  // A process killed mid-transaction leaves an uncommitted tail in the WAL that the next
  // open discards.
  if (auto failure = exec(raw, "PRAGMA journal_mode=WAL")) return failure;
  if (auto failure = exec(raw, "PRAGMA synchronous=FULL")) return failure;
  // The WAL is copied into the file every 64 pages and cut back to 256 KiB after, instead
  // of growing to 4 MiB and staying so: the store's writes are a few small rows.
  if (auto failure = exec(raw, "PRAGMA wal_autocheckpoint=64")) return failure;
  if (auto failure = exec(raw, "PRAGMA journal_size_limit=262144")) return failure;
  if (auto failure = exec(raw,
                          "CREATE TABLE IF NOT EXISTS zelvo_values "
                          "(key TEXT PRIMARY KEY NOT NULL, value TEXT NOT NULL) WITHOUT ROWID")) {
    return failure;
  }
  return readValues(raw, path, log, values);
}

// Two processes opening the file at the same moment can both hold a read lock and want to
// write (switching to WAL, creating the table); SQLite then fails one of them with
// SQLITE_BUSY at once, without waiting, as waiting could never succeed. Starting over
// after a short pause resolves it.
std::optional<Failure> openAndReadPatiently(const std::string& path, LogSink& log, Db& db, Value::Dictionary& values) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kBusyTimeoutMs);
  for (;;) {
    std::optional<Failure> failure = openAndRead(path, log, db, values);
    const int code = failure ? failure->code & 0xff : SQLITE_OK;
    if ((code != SQLITE_BUSY && code != SQLITE_LOCKED) || std::chrono::steady_clock::now() >= deadline) {
      return failure;
    }
    db.reset();
    values.clear();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

// The path as an SQLite URI for a file nothing will change while it is open.
std::string immutableUri(const std::string& path) {
  std::string uri = "file:";
  for (const char c : path) {
    if (c == '%' || c == '?' || c == '#') {
      char escaped[4];
      std::snprintf(escaped, sizeof escaped, "%%%02X", static_cast<unsigned char>(c));
      uri += escaped;
    } else {
      uri += c;
    }
  }
  return uri + "?immutable=1";
}

// Reads a file the process may not write. A file in WAL mode is read through its -shm index,
// which SQLite cannot make in a directory the process may not write either; the file alone
// is then read as immutable (the commits of a WAL a killed writer left stay in that WAL).
std::optional<Failure> readOnly(const std::string& path, LogSink& log, Value::Dictionary& values) {
  std::optional<Failure> failure;
  for (const std::string& name : {path, immutableUri(path)}) {
    values.clear();
    sqlite3* raw = nullptr;
    const int code = sqlite3_open_v2(name.c_str(), &raw, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
    Db db(raw);
    if (code == SQLITE_OK) sqlite3_busy_timeout(raw, kBusyTimeoutMs);
    failure = code != SQLITE_OK ? failureOf(raw, code) : readValues(raw, path, log, values);
    if (!failure || fileIsDamaged(failure->code)) break;
  }
  return failure;
}

// Renames the file to NAME.corrupt-<UTC time>, its -wal and -shm files along with it: a WAL
// left behind would be replayed into the new database. Returns the new name.
std::optional<std::string> moveAside(const std::string& path, LogSink& log) {
  const std::string aside = concat({path, ".corrupt-", utcTimestamp()});
  if (auto error = moveFile(path, aside)) {
    log.write(LogSeverity::kWarning, concat({"[ZV]: Cannot move the unusable store file ", path, " aside: ", *error}));
    return std::nullopt;
  }
  for (const char* suffix : {"-wal", "-shm"}) {
    const std::string from = path + suffix;
    if (auto error = moveOrRemoveFile(from, aside + suffix)) {
      log.write(LogSeverity::kWarning, concat({"[ZV]: Cannot remove the stale ", from, ": ", *error}));
      return std::nullopt;
    }
  }
  return aside;
}

}  // namespace

StoreFile::Opened StoreFile::open(const std::string& path, LogSink& log) {
  if (auto error = makePrivateDirectories(path)) {
    log.write(LogSeverity::kWarning,
              concat({"[ZV]: The store's directory is unusable (", *error, "); keeping values in memory only"}));
    return {};
  }
  if (struct stat info {}; stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
    log.write(LogSeverity::kWarning, concat({"[ZV]: The store path ", path,
                                             " is not a regular file; leaving it as it is and keeping values in memory only"}));
    return {};
  }
  for (int attempt = 0;; ++attempt) {
    Db db;
    Value::Dictionary values;
    std::optional<Failure> failure = openAndReadPatiently(path, log, db, values);
    if (!failure) return {std::unique_ptr<StoreFile>(new StoreFile(db.release(), path)), std::move(values)};
    db.reset();
    if (!fileIsDamaged(failure->code)) {
      std::optional<Failure> readFailure = readOnly(path, log, values);
      if (!readFailure) {
        log.write(LogSeverity::kWarning, concat({"[ZV]: The store file ", path, " can be read but not written (",
                                                 failure->message, "); using its values and keeping changes in memory only"}));
        return {nullptr, std::move(values)};
      }
      if (!fileIsDamaged(readFailure->code)) {
        log.write(LogSeverity::kWarning, concat({"[ZV]: Cannot open the store file ", path, " (", failure->message,
                                                 "); leaving it as it is and keeping values in memory only"}));
        return {};
      }
      failure = std::move(readFailure);
    }
    if (attempt > 0) {
      log.write(LogSeverity::kWarning, concat({"[ZV]: The new store file ", path, " is unusable too (", failure->message,
                                               "); keeping values in memory only"}));
      return {};
    }
    const std::optional<std::string> aside = moveAside(path, log);
    if (!aside) return {};
    log.write(LogSeverity::kWarning, concat({"[ZV]: The store file ", path, " was damaged (", failure->message,
                                             "); moved it to ", *aside, " and starting empty"}));
  }
}

StoreFile::StoreFile(sqlite3* db, std::string path) : db_(db), path_(std::move(path)) {
  if (struct stat info {}; stat(path_.c_str(), &info) == 0) {
    device_ = info.st_dev;
    inode_ = info.st_ino;
  }
}

StoreFile::~StoreFile() { sqlite3_close_v2(db_); }

bool StoreFile::stillAtPath() const {
  struct stat info {};
  return stat(path_.c_str(), &info) == 0 && info.st_dev == device_ && info.st_ino == inode_;
}

std::optional<std::string> StoreFile::reopen(LogSink& log) {
  // Closed first: closing checkpoints into the old file and removes the -wal and -shm files,
  // which would otherwise be replayed into the new one.
  sqlite3_close_v2(db_);
  db_ = nullptr;
  Opened fresh = open(path_, log);
  if (!fresh.file) return "cannot open a new " + path_;
  std::swap(db_, fresh.file->db_);
  device_ = fresh.file->device_;
  inode_ = fresh.file->inode_;
  return std::nullopt;
}

namespace {

// Runs `work` in one IMMEDIATE transaction (taking the write lock up front, so another process
// of the application makes us wait, busy timeout, rather than fail halfway through) and
// commits it; rolls back on failure.
template <typename Work>
std::optional<Failure> inTransaction(sqlite3* db, Work work) {
  if (db == nullptr) return Failure{SQLITE_CANTOPEN, "the file could not be opened again"};
  std::optional<Failure> failure = exec(db, "BEGIN IMMEDIATE");
  if (!failure) failure = work();
  if (!failure) failure = exec(db, "COMMIT");
  if (failure && !sqlite3_get_autocommit(db)) sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
  return failure;
}

std::optional<Failure> step(sqlite3* db, sqlite3_stmt* statement, int wanted) {
  if (const int code = sqlite3_step(statement); code != wanted) return failureOf(db, code);
  return std::nullopt;
}

void bind(sqlite3_stmt* statement, int index, const std::string& text) {
  sqlite3_bind_text64(statement, index, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

std::optional<Failure> writeChanges(sqlite3* db, const StoreFile::Changes& changes) {
  return inTransaction(db, [&]() -> std::optional<Failure> {
    Statement upsert;
    Statement erase;
    if (auto failure = prepare(db, "INSERT OR REPLACE INTO zelvo_values (key, value) VALUES (?1, ?2)", upsert)) {
      return failure;
    }
    if (auto failure = prepare(db, "DELETE FROM zelvo_values WHERE key = ?1", erase)) return failure;
    for (const auto& [key, text] : changes) {
      sqlite3_stmt* statement = text ? upsert.get() : erase.get();
      sqlite3_reset(statement);
      bind(statement, 1, key);
      if (text) bind(statement, 2, *text);
      if (auto failure = step(db, statement, SQLITE_DONE)) return failure;
    }
    return std::nullopt;
  });
}

}  // namespace

std::optional<std::string> StoreFile::write(const Changes& changes) {
  if (changes.empty()) return std::nullopt;
  std::optional<Failure> failure = writeChanges(db_, changes);
  if (failure && (failure->code & 0xff) == SQLITE_FULL) {
    // The WAL's pages already copied into the file give their space back, which may be
    // just what the write needs.
    sqlite3_wal_checkpoint_v2(db_, nullptr, SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
    failure = writeChanges(db_, changes);
  }
  if (failure) return failure->message;
  return std::nullopt;
}

std::optional<std::string> StoreFile::setIfAbsent(const std::string& key, const std::string& text, std::string& error) {
  std::string held;
  const std::optional<Failure> failure = inTransaction(db_, [&]() -> std::optional<Failure> {
    Statement insert;
    Statement select;
    if (auto failure = prepare(db_, "INSERT OR IGNORE INTO zelvo_values (key, value) VALUES (?1, ?2)", insert)) {
      return failure;
    }
    bind(insert.get(), 1, key);
    bind(insert.get(), 2, text);
    if (auto failure = step(db_, insert.get(), SQLITE_DONE)) return failure;
    if (auto failure = prepare(db_, "SELECT value FROM zelvo_values WHERE key = ?1", select)) return failure;
    bind(select.get(), 1, key);
    if (auto failure = step(db_, select.get(), SQLITE_ROW)) return failure;
    held = columnText(select.get(), 0);
    return std::nullopt;
  });
  if (failure) {
    error = failure->message;
    return std::nullopt;
  }
  return held;
}

}  // namespace zelvo::portable
