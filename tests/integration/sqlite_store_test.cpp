#include "zelvo/linux/sqlite_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "integration/temp_directory.h"
#include "zelvo/testing/testing_platform.h"

namespace zelvo::integration {
namespace {

using linux_platform::SqliteStore;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using zelvo::testing::CapturingLogSink;
using ::testing::HasSubstr;

// Long enough that only synchronize() or destruction can write.
constexpr milliseconds kNeverByItself = std::chrono::hours(1);
constexpr auto kWaitLimit = std::chrono::seconds(5);

// Polls `condition` until it holds or the bounded wait runs out.
template <typename Condition>
bool eventually(Condition condition) {
  const auto deadline = steady_clock::now() + kWaitLimit;
  while (!condition()) {
    if (steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(milliseconds(5));
  }
  return true;
}

// Reads one row straight from the file, as another program would.
std::optional<std::string> storedText(const std::string& path, const std::string& key) {
  std::optional<std::string> result;
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
    sqlite3_busy_timeout(db, 5000);
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, "SELECT value FROM zelvo_values WHERE key = ?1", -1, &statement, nullptr) ==
        SQLITE_OK) {
      sqlite3_bind_text(statement, 1, key.c_str(), -1, SQLITE_TRANSIENT);
      if (sqlite3_step(statement) == SQLITE_ROW) {
        result = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
      }
    }
    sqlite3_finalize(statement);
  }
  sqlite3_close(db);
  return result;
}

bool execOnFile(const std::string& path, const char* sql) {
  sqlite3* db = nullptr;
  bool ok = sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK &&
            sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
  sqlite3_close(db);
  return ok;
}

std::vector<std::string> movedAside(const TempDirectory& dir) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
    std::string name = entry.path().filename().string();
    if (name.starts_with("zelvo.sqlite.corrupt-") && !name.ends_with("-wal") && !name.ends_with("-shm")) {
      names.push_back(name);
    }
  }
  return names;
}

bool logged(const CapturingLogSink& log, const std::string& part) {
  for (const std::string& line : log.lines()) {
    if (line.starts_with("[ZV]:") && line.find(part) != std::string::npos) return true;
  }
  return false;
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

TEST_F(SqliteStoreTest, EveryValueTypeRoundTripsExactlyThroughAReopen) {
  const auto values = everyKindOfValue();
  {
    SqliteStore store(log_, path_, kNeverByItself);
    ASSERT_TRUE(store.isPersistent());
    for (const auto& [key, value] : values) store.set(key, value);
  }
  SqliteStore reopened(log_, path_, kNeverByItself);
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

TEST_F(SqliteStoreTest, RemovalsReachTheFileAndTheLastWriteOfAKeyWins) {
  {
    SqliteStore store(log_, path_, kNeverByItself);
    store.set("kept", Value("first"));
    store.set("removed", Value(1));
    store.set("cleared", Value(2));
    ASSERT_TRUE(store.synchronize());
    store.remove("removed");
    store.set("cleared", Value());
    store.set("kept", Value("second"));
    EXPECT_FALSE(store.get("removed").has_value());
    EXPECT_FALSE(store.get("cleared").has_value());
  }
  SqliteStore reopened(log_, path_, kNeverByItself);
  EXPECT_FALSE(reopened.get("removed").has_value());
  EXPECT_FALSE(reopened.get("cleared").has_value());
  EXPECT_EQ(reopened.get("kept"), Value("second"));
}

TEST_F(SqliteStoreTest, WritesReachTheFileByThemselvesAfterTheDelay) {
  constexpr milliseconds kDelay{100};
  SqliteStore store(log_, path_, kDelay);
  const auto start = steady_clock::now();
  store.set("answer", Value(42));
  EXPECT_EQ(store.get("answer"), Value(42));
  ASSERT_TRUE(eventually([&] { return storedText(path_, "answer").has_value(); }));
  EXPECT_GE(steady_clock::now() - start, kDelay);
  EXPECT_EQ(Value::fromTypedJson(*storedText(path_, "answer")), Value(42));
}

TEST_F(SqliteStoreTest, SynchronizeCommitsEverythingBeforeReturning) {
  SqliteStore store(log_, path_, kNeverByItself);
  EXPECT_TRUE(store.synchronize());  // nothing written yet
  store.set("a", Value("x"));
  store.set("b", Value(Date{12.5}));
  ASSERT_TRUE(store.synchronize());
  EXPECT_TRUE(storedText(path_, "a").has_value());
  EXPECT_TRUE(storedText(path_, "b").has_value());
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
    struct stat info {};
    ASSERT_EQ(stat(dir_.file("new/dirs/zelvo.sqlite").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    ASSERT_EQ(stat(dir_.file("new/dirs/zelvo.sqlite-wal").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    ASSERT_EQ(stat(dir_.file("new/dirs").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);
  }
  umask(previous);
}

TEST(SqliteStoreDefaultPathTest, FollowsXdgDataHomeThenHome) {
  const char* savedXdg = std::getenv("XDG_DATA_HOME");
  const char* savedHome = std::getenv("HOME");
  const std::optional<std::string> xdg = savedXdg ? std::optional<std::string>(savedXdg) : std::nullopt;
  const std::optional<std::string> home = savedHome ? std::optional<std::string>(savedHome) : std::nullopt;

  setenv("XDG_DATA_HOME", "/data/xdg", 1);
  EXPECT_EQ(SqliteStore::defaultPath("com.example.news"), "/data/xdg/com.example.news/zelvo.sqlite");
  // A relative XDG_DATA_HOME is invalid and ignored.
  setenv("XDG_DATA_HOME", "relative/dir", 1);
  setenv("HOME", "/home/reader", 1);
  EXPECT_EQ(SqliteStore::defaultPath("news"), "/home/reader/.local/share/news/zelvo.sqlite");
  unsetenv("XDG_DATA_HOME");
  EXPECT_EQ(SqliteStore::defaultPath("news"), "/home/reader/.local/share/news/zelvo.sqlite");
  for (const char* bad : {"", ".", "..", "a/b"}) EXPECT_FALSE(SqliteStore::defaultPath(bad).has_value()) << bad;

  if (xdg) {
    setenv("XDG_DATA_HOME", xdg->c_str(), 1);
  }
  if (home) {
    setenv("HOME", home->c_str(), 1);
  } else {
    unsetenv("HOME");
  }
}

// --- Damaged files: moved aside, logged, and the store starts empty but works.

void expectWorksAfterRecovery(const std::string& path, CapturingLogSink& log) {
  {
    SqliteStore store(log, path, kNeverByItself);
    EXPECT_TRUE(store.isPersistent());
    EXPECT_FALSE(store.get("old").has_value());
    store.set("fresh", Value("yes"));
    EXPECT_TRUE(store.synchronize());
  }
  CapturingLogSink quiet;
  SqliteStore reopened(quiet, path, kNeverByItself);
  EXPECT_EQ(reopened.get("fresh"), Value("yes"));
  EXPECT_TRUE(quiet.lines().empty());
}

TEST_F(SqliteStoreTest, GarbageFileIsMovedAsideAndTheStoreStartsEmpty) {
  std::string garbage(10000, '\0');
  for (size_t i = 0; i < garbage.size(); ++i) garbage[i] = static_cast<char>(i * 7 + 3);
  std::ofstream(path_, std::ios::binary) << garbage;

  expectWorksAfterRecovery(path_, log_);
  EXPECT_TRUE(logged(log_, "moved it to " + path_ + ".corrupt-"));
  const auto aside = movedAside(dir_);
  ASSERT_EQ(aside.size(), 1u);
  std::ifstream kept(dir_.file(aside[0]), std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(kept), {}), garbage);
}

TEST_F(SqliteStoreTest, TruncatedFileIsMovedAside) {
  {
    SqliteStore store(log_, path_, kNeverByItself);
    // Enough rows for many pages, so that cutting the file loses some of the tree.
    for (int i = 0; i < 300; ++i) store.set("old" + std::to_string(i), Value(std::string(200, 'x')));
    store.set("old", Value(1));
  }
  const auto size = std::filesystem::file_size(path_);
  ASSERT_GT(size, 16384u);
  std::filesystem::resize_file(path_, size / 2);

  expectWorksAfterRecovery(path_, log_);
  EXPECT_TRUE(logged(log_, "moved it to"));
  EXPECT_EQ(movedAside(dir_).size(), 1u);
}

// Tests run as root, which reads any file whatever its mode, so an unreadable file is made
// the way that fails for root too: a directory where the file should be.
TEST_F(SqliteStoreTest, UnopenablePathIsMovedAside) {
  ASSERT_TRUE(std::filesystem::create_directory(path_));
  expectWorksAfterRecovery(path_, log_);
  EXPECT_TRUE(logged(log_, "moved it to"));
  ASSERT_EQ(movedAside(dir_).size(), 1u);
  EXPECT_TRUE(std::filesystem::is_directory(dir_.file(movedAside(dir_)[0])));
}

// A row nested far deeper than any value the store writes would, decoded recursively, crash
// every start; it is skipped like any row that does not parse, and a value that deep is
// never written.
TEST_F(SqliteStoreTest, RowsThatDoNotParseAreSkippedAndTooDeepValuesRefused) {
  Value tooDeep(1);
  for (int i = 0; i <= Value::kMaxNesting; ++i) tooDeep = Value(Value::Array{std::move(tooDeep)});
  {
    SqliteStore store(log_, path_, kNeverByItself);
    store.set("good", Value(7));
    store.set("good", tooDeep);
    store.set("deep", tooDeep);
    EXPECT_EQ(store.get("good"), Value(7));
    EXPECT_FALSE(store.get("deep").has_value());
  }
  EXPECT_FALSE(storedText(path_, "deep").has_value());
  EXPECT_TRUE(logged(log_, "Not storing the value of \"deep\""));
  std::string deepRow;
  for (int i = 0; i < 50000; ++i) deepRow += "{\"array\":[";
  deepRow += "{\"nil\":null}";
  for (int i = 0; i < 50000; ++i) deepRow += "]}";
  ASSERT_TRUE(execOnFile(path_, ("INSERT INTO zelvo_values VALUES ('bad', '{not json'), "
                                 "('wrong shape', '{\"int\":\"7\"}'), ('deep', '" + deepRow + "')").c_str()));
  SqliteStore reopened(log_, path_, kNeverByItself);
  EXPECT_EQ(reopened.get("good"), Value(7));
  for (const char* key : {"bad", "wrong shape", "deep"}) {
    EXPECT_FALSE(reopened.get(key).has_value()) << key;
    EXPECT_TRUE(logged(log_, "stored value of \"" + std::string(key) + "\"")) << key;
  }
  EXPECT_TRUE(movedAside(dir_).empty());
}

// A regular file where a directory should be stops mkdir for root too.
TEST_F(SqliteStoreTest, UncreatableDirectoryLeavesAWorkingStoreInMemory) {
  std::ofstream(dir_.file("plain-file")) << "x";
  SqliteStore store(log_, dir_.file("plain-file/sub/zelvo.sqlite"), kNeverByItself);
  EXPECT_FALSE(store.isPersistent());
  store.set("k", Value(3.5));
  EXPECT_EQ(store.get("k"), Value(3.5));
  store.remove("k");
  EXPECT_FALSE(store.get("k").has_value());
  EXPECT_FALSE(store.synchronize());
  EXPECT_TRUE(logged(log_, "memory only"));
}

TEST_F(SqliteStoreTest, NoPathKeepsValuesInMemoryQuietly) {
  SqliteStore store(log_, std::nullopt);
  store.set("k", Value("v"));
  EXPECT_EQ(store.get("k"), Value("v"));
  EXPECT_FALSE(store.isPersistent());
  EXPECT_TRUE(log_.lines().empty());
}

// --- Other processes: a killed writer, and two writers sharing the file.

// Reads 8-byte progress reports from `fd` until `enough` have come (then returns true) or
// the pipe closes or the bounded wait ends. `last` is the highest report.
bool readProgress(int fd, int64_t& last, int64_t enough) {
  const auto deadline = steady_clock::now() + kWaitLimit;
  std::string buffer;
  int64_t count = 0;
  for (;;) {
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - steady_clock::now()).count();
    if (left <= 0) return false;
    pollfd pfd{fd, POLLIN, 0};
    if (poll(&pfd, 1, static_cast<int>(left)) <= 0) continue;
    char chunk[512];
    const ssize_t got = read(fd, chunk, sizeof chunk);
    if (got <= 0) return false;
    buffer.append(chunk, static_cast<size_t>(got));
    while (buffer.size() >= sizeof(int64_t)) {
      std::memcpy(&last, buffer.data(), sizeof last);
      buffer.erase(0, sizeof last);
      if (++count >= enough) return true;
    }
  }
}

TEST_F(SqliteStoreTest, SynchronizedValuesSurviveTheWriterBeingKilled) {
  int progress[2];
  ASSERT_EQ(pipe(progress), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    close(progress[0]);
    CapturingLogSink childLog;
    SqliteStore store(childLog, path_, kNeverByItself);
    for (int64_t i = 1; i < 1000000; ++i) {
      store.set("counter", Value(i));
      std::string key = "v";  // appended, not "v" + ...: GCC 12 -O3 sees a false overlap (-Wrestrict)
      key += std::to_string(i);
      store.set(key, Value(std::string(100, 'a' + static_cast<char>(i % 26))));
      if (!store.synchronize()) _exit(2);
      if (write(progress[1], &i, sizeof i) != sizeof i) _exit(3);
    }
    _exit(0);
  }
  close(progress[1]);
  int64_t last = 0;
  const bool started = readProgress(progress[0], last, 25);
  kill(child, SIGKILL);
  // Reports written before the kill are still in the pipe.
  while (readProgress(progress[0], last, 1)) {
  }
  close(progress[0]);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(started) << "the writer reported too little progress";
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);

  SqliteStore reopened(log_, path_, kNeverByItself);
  EXPECT_TRUE(log_.lines().empty());  // opened cleanly, nothing moved aside
  ASSERT_TRUE(reopened.get("counter").has_value());
  EXPECT_GE(reopened.get("counter")->longLongValue(), last);
  for (int64_t i = 1; i <= last; ++i) {
    ASSERT_EQ(reopened.get("v" + std::to_string(i)), Value(std::string(100, 'a' + static_cast<char>(i % 26)))) << i;
  }
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
  const pid_t first = spawnWriter("a");
  const pid_t second = spawnWriter("b");
  ASSERT_GT(first, 0);
  ASSERT_GT(second, 0);
  for (pid_t child : {first, second}) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
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
