#include "zelvo/linux/sqlite_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "integration/bounded_wait.h"
#include "integration/temp_directory.h"
#include "zelvo/testing/testing_platform.h"

namespace zelvo::integration {
namespace {

using linux_platform::SqliteStore;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using zelvo::testing::CapturingLogSink;

// Long enough that only synchronize() or destruction can write.
constexpr milliseconds kNeverByItself = std::chrono::hours(1);

// Runs `sql` straight on the file, as another program would: the first column of the first
// row, if any.
std::optional<std::string> onFile(const std::string& path, const std::string& sql) {
  std::optional<std::string> result;
  sqlite3* db = nullptr;
  sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
  sqlite3_busy_timeout(db, 5000);
  sqlite3_exec(db, sql.c_str(), [](void* out, int, char** columns, char**) {
    if (!*static_cast<std::optional<std::string>*>(out)) *static_cast<std::optional<std::string>*>(out) = columns[0];
    return 0;
  }, &result, nullptr);
  sqlite3_close(db);
  return result;
}

// The keys of these tests hold no quote.
std::optional<std::string> storedText(const std::string& path, const std::string& key) {
  return onFile(path, "SELECT value FROM zelvo_values WHERE key = '" + key + "'");
}

std::vector<std::string> movedAside(const std::string& dir) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    std::string name = entry.path().filename().string();
    if (name.starts_with("zelvo.sqlite.corrupt-") && !name.ends_with("-wal") && !name.ends_with("-shm")) {
      names.push_back(name);
    }
  }
  return names;
}

std::map<std::string, Value> everyKindOfValue() {
  const Value::Array nestedArray{Value(1), Value("two"), Value(Value::Array{Value(Date{3.25}), Value(0.1)})};
  const Value::Dictionary nestedDictionary{{"list", Value(nestedArray)},
                                           {"empty", Value(Value::Dictionary{})},
                                           {"inner", Value(Value::Dictionary{{"flag", Value(false)}})}};
  return {
      {"string", Value("h\xC3\xA9llo \"quoted\"\n\ttab")},
      {"empty string", Value("")},
      {"int max", Value(std::numeric_limits<int64_t>::max())},
      {"int min", Value(std::numeric_limits<int64_t>::min())},
      {"int zero", Value(0)},
      {"true", Value(true)},
      {"false", Value(false)},
      {"tenth", Value(0.1)},
      {"third", Value(1.0 / 3.0)},
      {"nan", Value(std::numeric_limits<double>::quiet_NaN())},
      {"negative zero", Value(-0.0)},
      {"infinity", Value(std::numeric_limits<double>::infinity())},
      {"negative infinity", Value(-std::numeric_limits<double>::infinity())},
      {"denormal", Value(std::numeric_limits<double>::denorm_min())},
      {"largest", Value(std::numeric_limits<double>::max())},
      {"whole double", Value(2.0)},
      {"date", Value(Date{7.5e8 + 1.0 / 3.0})},
      {"date before 1970", Value(Date{-1e9 - 0.5})},
      {"array", Value(nestedArray)},
      {"dictionary", Value(nestedDictionary)},
      {"empty array", Value(Value::Array{})},
      {"\xD0\xBA\xD0\xBB\xD1\x8E\xD1\x87 with spaces/and slashes", Value("odd key")},
  };
}

class SqliteStoreTest : public ::testing::Test {
 protected:
  TempDirectory dir_;
  std::string path_ = dir_.file("zelvo.sqlite");
  CapturingLogSink log_;
};

TEST_F(SqliteStoreTest, EveryValueTypeRoundTripsExactlyAndRemovalsStick) {
  const auto values = everyKindOfValue();
  {
    SqliteStore store(log_, path_, kNeverByItself);
    ASSERT_TRUE(store.isPersistent());
    for (const char* key : {"removed", "cleared", "string"}) store.set(key, Value(1));
    ASSERT_TRUE(store.synchronize());
    store.remove("removed");
    store.set("cleared", Value());
    for (const auto& [key, value] : values) store.set(key, value);
  }
  SqliteStore reopened(log_, path_, kNeverByItself);
  EXPECT_FALSE(reopened.get("removed") || reopened.get("cleared"));
  for (const auto& [key, value] : values) {
    std::optional<Value> read = reopened.get(key);
    ASSERT_TRUE(read.has_value()) << key;
    // The typed text spells out type and shortest round-trip digits: equal text, equal bits.
    EXPECT_EQ(read->toTypedJson(), value.toTypedJson()) << key;
  }
  EXPECT_EQ(reopened.get("int max")->type(), Value::Type::kInt);
  EXPECT_EQ(reopened.get("true")->type(), Value::Type::kBool);
  EXPECT_EQ(reopened.get("whole double")->type(), Value::Type::kDouble);
  EXPECT_EQ(reopened.get("date")->type(), Value::Type::kDate);
  EXPECT_TRUE(std::signbit(*reopened.get("negative zero")->asDouble()));
  EXPECT_TRUE(std::isnan(*reopened.get("nan")->asDouble()));
  const double tenth = *reopened.get("tenth")->asDouble();
  const double expected = 0.1;
  EXPECT_EQ(std::memcmp(&tenth, &expected, sizeof tenth), 0);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(SqliteStoreTest, WritesReachTheFileByThemselvesAfterTheDelay) {
  constexpr milliseconds kDelay{100};
  SqliteStore store(log_, path_, kDelay);
  const auto start = steady_clock::now();
  store.set("answer", Value(42));
  EXPECT_EQ(store.get("answer"), Value(42));
  for (const auto deadline = start + kWaitLimit; !storedText(path_, "answer") && steady_clock::now() < deadline;) {
    std::this_thread::sleep_for(milliseconds(5));
  }
  ASSERT_TRUE(storedText(path_, "answer"));
  EXPECT_GE(steady_clock::now() - start, kDelay);
  EXPECT_EQ(Value::fromTypedJson(*storedText(path_, "answer")), Value(42));
}

TEST_F(SqliteStoreTest, ConcurrentWritersAndSynchronizeFromManyThreads) {
  SqliteStore store(log_, path_, milliseconds(2));
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&store, t] {
      for (int i = 0; i < 50; ++i) {
        std::string key = "t";  // appended, not "t" + ...: GCC 12 -O3 sees a false overlap (-Wrestrict)
        key += std::to_string(t);
        key += '-';
        key += std::to_string(i);
        store.set(key, Value(i));
        if (i % 10 == 0) {
          EXPECT_TRUE(store.synchronize());
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  ASSERT_TRUE(store.synchronize());
  for (int t = 0; t < 4; ++t) {
    EXPECT_EQ(Value::fromTypedJson(storedText(path_, "t" + std::to_string(t) + "-49").value_or("")), Value(49));
  }
}

TEST_F(SqliteStoreTest, FileAndJournalAreCreatedForTheUserAlone) {
  const mode_t previous = umask(0);  // so the mode seen is the one asked for
  {
    SqliteStore store(log_, dir_.file("new/dirs/zelvo.sqlite"), kNeverByItself);
    store.set("k", Value(1));
    ASSERT_TRUE(store.synchronize());
    for (const auto& [name, mode] : {std::pair{"new/dirs/zelvo.sqlite", 0600u}, {"new/dirs/zelvo.sqlite-wal", 0600u},
                                     {"new/dirs", 0700u}}) {
      struct stat info {};
      EXPECT_EQ(stat(dir_.file(name).c_str(), &info) == 0 ? info.st_mode & 0777 : 0u, mode) << name;
    }
  }
  umask(previous);
}

TEST(SqliteStoreDefaultPathTest, FollowsXdgDataHomeThenHome) {
  std::map<std::string, std::optional<std::string>> saved;
  for (const char* name : {"XDG_DATA_HOME", "HOME"}) {
    saved[name] = std::getenv(name) ? std::optional<std::string>(std::getenv(name)) : std::nullopt;
  }
  setenv("XDG_DATA_HOME", "/data/xdg", 1);
  EXPECT_EQ(SqliteStore::defaultPath("com.example.news"), "/data/xdg/com.example.news/zelvo.sqlite");
  // A relative XDG_DATA_HOME is invalid and ignored.
  setenv("XDG_DATA_HOME", "relative/dir", 1);
  setenv("HOME", "/home/reader", 1);
  EXPECT_EQ(SqliteStore::defaultPath("news"), "/home/reader/.local/share/news/zelvo.sqlite");
  unsetenv("XDG_DATA_HOME");
  EXPECT_EQ(SqliteStore::defaultPath("news"), "/home/reader/.local/share/news/zelvo.sqlite");
  for (const char* bad : {"", ".", "..", "a/b"}) EXPECT_FALSE(SqliteStore::defaultPath(bad).has_value()) << bad;
  for (const auto& [name, value] : saved) value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
}

// --- Faults. Each row stages one fault in a child process (which may drop root or enter its
// own mount namespace), then a store opens the file, takes a write and closes, and another
// store reads what is left. The outcome line says what the first store read of the values
// synchronised before the fault, whether it writes to the file, what became of the file, what
// the second store reads, and which "[ZV]:" lines the first one logged.

constexpr uid_t kNobody = 65534;

struct Staged {
  std::string path;           // the store file to open; "skip: why" when the fault cannot be made here
  Value::Dictionary synced;   // what was synchronised before the fault
  bool fillOnceOpen = false;  // the disk fills while the store is open
  bool deleteOnceOpen = false;  // the file is deleted while the store is open
};

// A store holding a user token and `fillers` more rows, synchronised.
Staged written(const std::string& path, int fillers = 0) {
  Staged staged{path, {{"token", Value("QUFFQ0F3UUZCZ2NJQ1")}}};
  for (int i = 0; i < fillers; ++i) staged.synced["filler" + std::to_string(i)] = Value(std::string(200, 'x'));
  CapturingLogSink quiet;
  SqliteStore store(quiet, path, kNeverByItself);
  for (const auto& [key, value] : staged.synced) store.set(key, value);
  if (!store.synchronize()) staged.path = "skip: cannot write " + path;
  return staged;
}

Staged asNobody(Staged staged, const std::string& dir, mode_t fileMode, uid_t owner) {
  if (chown(dir.c_str(), owner, owner) != 0 || chmod(dir.c_str(), 0755) != 0 ||
      chown(staged.path.c_str(), owner, owner) != 0 || chmod(staged.path.c_str(), fileMode) != 0 ||
      setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0) {
    return {"skip: cannot drop root for nobody (" + std::string(strerror(errno)) + ")", {}};
  }
  return staged;
}

// A private mount namespace where `dir` is a fresh small tmpfs, or the same files read-only;
// "skip: why" when this machine does not allow it.
std::string remount(const std::string& dir, bool readOnly) {
  const bool ok = unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                  (readOnly ? mount(dir.c_str(), dir.c_str(), nullptr, MS_BIND, nullptr) == 0 &&
                                  mount(nullptr, dir.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == 0
                            : mount("zelvo", dir.c_str(), "tmpfs", 0, "size=256k") == 0);
  return ok ? "" : "skip: cannot mount in a private namespace (" + std::string(strerror(errno)) + ")";
}

// Fills the file system of `dir` to the last byte.
void fill(const std::string& dir) {
  const int fd = ::open((dir + "/filler").c_str(), O_WRONLY | O_CREAT, 0600);
  while (write(fd, "f", 1) > 0) {
  }
  close(fd);
}

// A writer synchronising one value after another, killed once it has done 25; it tells how
// far it got through memory shared with this process.
Staged killedWriter(const std::string& path) {
  auto* done = new (mmap(nullptr, 8, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::atomic<int64_t>(0);
  const auto value = [](int64_t i) { return Value(std::string(100, 'a' + static_cast<char>(i % 26))); };
  const pid_t writer = fork();
  if (writer == 0) {
    CapturingLogSink quiet;
    SqliteStore store(quiet, path, kNeverByItself);
    for (int64_t i = 1; i < 1000000 && (store.set("v" + std::to_string(i), value(i)), store.synchronize()); ++i) *done = i;
    _exit(0);
  }
  for (const auto deadline = steady_clock::now() + kWaitLimit; *done < 25 && steady_clock::now() < deadline;) {
    std::this_thread::sleep_for(milliseconds(1));
  }
  kill(writer, SIGKILL);
  waitpid(writer, nullptr, 0);
  Staged staged{*done < 25 ? "skip: the writer made too little progress" : path, {}};
  for (int64_t i = 1; i <= *done; ++i) staged.synced["v" + std::to_string(i)] = value(i);
  return staged;
}

std::string fingerprint(const std::string& path) {
  struct stat info {};
  return lstat(path.c_str(), &info) != 0 ? "gone"
                                         : std::to_string(info.st_ino) + ":" + std::to_string(info.st_size) + ":" +
                                               std::to_string(info.st_mtim.tv_sec) + "." + std::to_string(info.st_mtim.tv_nsec);
}

const char* howMuchOf(const Value::Dictionary& synced, const SqliteStore& store) {
  size_t found = 0;
  for (const auto& [key, value] : synced) found += store.get(key) == value;
  return found == 0 ? "none" : found == synced.size() ? "all" : "some";
}

std::string outcomeAfter(const Staged& staged, const std::string& dir) {
  const std::string before = fingerprint(staged.path);
  CapturingLogSink log;
  std::string outcome;
  {
    SqliteStore store(log, staged.path, kNeverByItself);
    if (staged.fillOnceOpen) fill(dir);
    if (staged.deleteOnceOpen) std::filesystem::remove(staged.path);
    store.set("new", Value(1));
    outcome = std::string("read=") + howMuchOf(staged.synced, store) + " persistent=" + (store.isPersistent() ? "yes" : "no") +
              " saved=" + (store.synchronize() ? "yes" : "no");
  }
  outcome += " aside=" + std::to_string(movedAside(dir).size()) + " file=" + (fingerprint(staged.path) == before ? "same" : "changed");
  CapturingLogSink quiet;
  SqliteStore reopened(quiet, staged.path, kNeverByItself);
  outcome += std::string(" reread=") + howMuchOf(staged.synced, reopened) + " new=" + (reopened.get("new") ? "yes" : "no") + " log=";
  for (const std::string& line : log.lines()) {
    std::string said = line;
    for (const char* phrase : {"was damaged", "can be read but not written", "leaving it as it is", "directory is unusable",
                               "unreadable", "too deeply nested", "Cannot save", "unsaved", "not a regular file",
                               "deleted or replaced"}) {
      if (line.starts_with("[ZV]:") && line.find(phrase) != std::string::npos) said = phrase;
    }
    outcome += "[" + said + "]";
  }
  return outcome;
}

enum class Fault {
  kGarbage, kTruncated, kDirectoryInItsPlace, kDirectoryCannotBeMade, kReadOnlyByMode, kReadOnlyByOwner,
  kUnreadable, kReadOnlyFileSystem, kDiskFull, kDiskFillsWhileOpen, kWriterKilled, kBadRows, kFifoInItsPlace,
  kDeletedWhileOpen
};

Staged stage(Fault fault, const std::string& dir) {
  const std::string path = dir + "/zelvo.sqlite";
  if (fault == Fault::kWriterKilled) return killedWriter(path);
  if (fault == Fault::kDirectoryInItsPlace) std::filesystem::create_directory(path);
  if (fault == Fault::kDirectoryInItsPlace) return {path, {}};
  // Opened for reading, a FIFO waits for a writer that never comes.
  if (fault == Fault::kFifoInItsPlace) return {mkfifo(path.c_str(), 0600) == 0 ? path : "skip: cannot make a FIFO", {}};
  // A regular file where a directory should be stops mkdir.
  if (fault == Fault::kDirectoryCannotBeMade) std::ofstream(dir + "/plain-file") << "x";
  if (fault == Fault::kDirectoryCannotBeMade) return {dir + "/plain-file/sub/zelvo.sqlite", {}};
  const bool smallDisk = fault == Fault::kDiskFull || fault == Fault::kDiskFillsWhileOpen;
  if (std::string skip = smallDisk ? remount(dir, false) : ""; !skip.empty()) return {skip, {}};
  // Enough rows for the truncated file to have many pages, so that the cut loses some of the tree.
  Staged staged = written(path, fault == Fault::kTruncated ? 300 : 0);
  switch (fault) {
    case Fault::kGarbage: std::ofstream(path, std::ios::binary) << std::string(10000, 'Z'); break;
    case Fault::kTruncated: std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2); break;
    case Fault::kReadOnlyByMode: return asNobody(staged, dir, 0400, kNobody);
    // As after one run under sudo: the file and its directory are root's.
    case Fault::kReadOnlyByOwner: return asNobody(staged, dir, 0644, 0);
    case Fault::kUnreadable: return asNobody(staged, dir, 0, kNobody);
    case Fault::kReadOnlyFileSystem: if (std::string skip = remount(dir, true); !skip.empty()) return {skip, {}}; break;
    case Fault::kDiskFull: fill(dir); break;
    case Fault::kDiskFillsWhileOpen: staged.fillOnceOpen = true; break;
    case Fault::kDeletedWhileOpen: staged.deleteOnceOpen = true; break;
    // A row 50,000 levels deep, decoded recursively, would crash every start.
    case Fault::kBadRows: {
      std::string rows = "INSERT INTO zelvo_values VALUES ('bad', '{not json'), ('wrong shape', '{\"int\":\"7\"}'), ('deep', '";
      for (int i = 0; i < 50000; ++i) rows += "{\"array\":[";
      rows += "{\"nil\":null}";
      for (int i = 0; i < 50000; ++i) rows += "]}";
      onFile(path, rows + "')");
      break;
    }
    default: break;
  }
  return staged;
}

struct FaultRow {
  const char* name;
  Fault fault;
  const char* outcome;
};

const FaultRow kFaults[] = {
    {"Garbage", Fault::kGarbage, "read=none persistent=yes saved=yes aside=1 file=changed reread=none new=yes log=[was damaged]"},
    {"Truncated", Fault::kTruncated,
     "read=none persistent=yes saved=yes aside=1 file=changed reread=none new=yes log=[was damaged]"},
    {"DirectoryInItsPlace", Fault::kDirectoryInItsPlace,
     "read=none persistent=no saved=no aside=0 file=same reread=none new=no log=[not a regular file]"},
    {"DirectoryCannotBeMade", Fault::kDirectoryCannotBeMade,
     "read=none persistent=no saved=no aside=0 file=same reread=none new=no log=[directory is unusable]"},
    {"ReadOnlyByMode", Fault::kReadOnlyByMode,
     "read=all persistent=no saved=no aside=0 file=same reread=all new=no log=[can be read but not written]"},
    {"ReadOnlyByOwner", Fault::kReadOnlyByOwner,
     "read=all persistent=no saved=no aside=0 file=same reread=all new=no log=[can be read but not written]"},
    {"Unreadable", Fault::kUnreadable,
     "read=none persistent=no saved=no aside=0 file=same reread=none new=no log=[leaving it as it is]"},
    {"ReadOnlyFileSystem", Fault::kReadOnlyFileSystem,
     "read=all persistent=no saved=no aside=0 file=same reread=all new=no log=[can be read but not written]"},
    // Full when the store opens: SQLite cannot make its WAL index there, so it only reads.
    {"DiskFull", Fault::kDiskFull,
     "read=all persistent=no saved=no aside=0 file=same reread=all new=no log=[can be read but not written]"},
    // Full once it is open: the write fails and is kept to retry, which the log says, as it
    // says what is lost at the end; what was synchronised before stays.
    {"DiskFillsWhileOpen", Fault::kDiskFillsWhileOpen,
     "read=all persistent=yes saved=no aside=0 file=same reread=all new=no log=[Cannot save][unsaved]"},
    {"BadRows", Fault::kBadRows,
     "read=all persistent=yes saved=yes aside=0 file=changed reread=all new=yes log=[unreadable][too deeply nested][unreadable]"},
    {"WriterKilled", Fault::kWriterKilled, "read=all persistent=yes saved=yes aside=0 file=changed reread=all new=yes log="},
    {"FifoInItsPlace", Fault::kFifoInItsPlace,
     "read=none persistent=no saved=no aside=0 file=same reread=none new=no log=[not a regular file]"},
    // Noticed at the next commit, which writes every value to a new file.
    {"DeletedWhileOpen", Fault::kDeletedWhileOpen,
     "read=all persistent=yes saved=yes aside=0 file=changed reread=all new=yes log=[deleted or replaced]"},
};

// Names the row where a failure or CTest lists the case.
void PrintTo(const FaultRow& row, std::ostream* out) { *out << row.name; }

class StoreFaultTest : public ::testing::TestWithParam<FaultRow> {};

TEST_P(StoreFaultTest, EndsInItsState) {
  TempDirectory dir;
  int result[2];
  ASSERT_EQ(pipe(result), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    close(result[0]);
    const Staged staged = stage(GetParam().fault, dir.path());
    const std::string outcome = staged.path.starts_with("skip:") ? staged.path : outcomeAfter(staged, dir.path());
    _exit(write(result[1], outcome.data(), outcome.size()) == static_cast<ssize_t>(outcome.size()) ? 0 : 1);
  }
  close(result[1]);
  std::string outcome;
  for (char c; read(result[0], &c, 1) == 1;) outcome += c;
  close(result[0]);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status << " " << outcome;
  if (outcome.starts_with("skip:")) GTEST_SKIP() << outcome;
  EXPECT_EQ(outcome, GetParam().outcome);
}

INSTANTIATE_TEST_SUITE_P(Store, StoreFaultTest, ::testing::ValuesIn(kFaults),
                         [](const auto& info) { return std::string(info.param.name); });

// Processes starting on one new file at once, each with a value of its own for the same
// key (a user token): every one of them ends with the one value the file keeps.
TEST_F(SqliteStoreTest, ProcessesStartingAtOnceAgreeOnOneValue) {
  for (int round = 0; round < 3; ++round) {
    const std::string path = dir_.file("round" + std::to_string(round) + ".sqlite");
    int go[2];
    int told[2];
    ASSERT_TRUE(pipe(go) == 0 && pipe(told) == 0);
    for (int i = 0; i < 3; ++i) {
      if (fork() != 0) continue;
      char start;
      const bool started = read(go[0], &start, 1) == 1;  // all at once
      SqliteStore store(log_, path, kNeverByItself);
      const Value kept = store.setIfAbsent("token", Value("token of " + std::to_string(i)));
      const std::string line = (started && kept.asString() ? *kept.asString() : "none") + "\n";
      _exit(write(told[1], line.data(), line.size()) == static_cast<ssize_t>(line.size()) ? 0 : 1);
    }
    close(told[1]);
    ASSERT_EQ(write(go[1], "ggg", 3), 3);
    std::string said;
    for (char c; read(told[0], &c, 1) == 1;) said += c;
    for (const int fd : {go[0], go[1], told[0]}) close(fd);
    while (wait(nullptr) > 0) {
    }
    const std::string first = said.substr(0, said.find('\n') + 1);
    EXPECT_EQ(said, first + first + first) << "round " << round;
    SqliteStore reopened(log_, path, kNeverByItself);
    EXPECT_EQ(reopened.get("token"), Value(first.substr(0, first.size() - 1))) << "round " << round;
  }
}

// Hundreds of commits leave a write-ahead log of a few hundred kilobytes, not megabytes that
// a nearly full disk would miss.
TEST_F(SqliteStoreTest, TheWriteAheadLogStaysSmall) {
  SqliteStore store(log_, path_, kNeverByItself);
  for (int i = 0; i < 400; ++i) {
    store.set("value" + std::to_string(i % 50), Value(std::string(2000, static_cast<char>('a' + i % 26))));
    ASSERT_TRUE(store.synchronize());
  }
  EXPECT_LE(std::filesystem::file_size(path_ + "-wal"), 512u * 1024);
}

TEST_F(SqliteStoreTest, TwoProcessesWritingTheSameFileKeepItConsistent) {
  constexpr int kWrites = 150;
  const auto spawnWriter = [this](const std::string& prefix) {
    const pid_t child = fork();
    if (child != 0) return child;
    bool ok = true;
    {
      CapturingLogSink childLog;
      SqliteStore store(childLog, path_, milliseconds(1));
      for (int i = 0; i < kWrites; ++i) {
        store.set(prefix + std::to_string(i), Value(i));
        store.set("shared", Value(prefix));
        if (i % 15 == 0) ok = ok && store.synchronize();
      }
      ok = ok && store.synchronize() && store.isPersistent();
      for (const std::string& line : childLog.lines()) std::fprintf(stderr, "%s %s\n", prefix.c_str(), line.c_str());
    }
    _exit(ok ? 0 : 1);
  };
  for (const pid_t child : {spawnWriter("a"), spawnWriter("b")}) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);  // a failed fork (-1) fails here
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }

  SqliteStore reopened(log_, path_, kNeverByItself);
  EXPECT_TRUE(log_.lines().empty());
  for (const char* prefix : {"a", "b"}) {
    for (int i = 0; i < kWrites; ++i) EXPECT_EQ(reopened.get(prefix + std::to_string(i)), Value(i));
  }
  EXPECT_THAT(*reopened.get("shared")->asString(), ::testing::AnyOf("a", "b"));
}

}  // namespace
}  // namespace zelvo::integration
