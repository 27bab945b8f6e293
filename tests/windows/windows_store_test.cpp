// The SQLite store on Windows: values kept across opens, and the faults a Windows file system
// can put in its way.
#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

#include "zelvo/portable/sqlite_store.h"

namespace zelvo::portable {
namespace {

namespace fs = std::filesystem;

class RecordingSink : public LogSink {
 public:
  void write(LogSeverity, std::string_view line) override {
    std::lock_guard lock(mutex_);
    text_ += std::string(line) + "\n";
  }
  std::string text() const {
    std::lock_guard lock(mutex_);
    return text_;
  }

 private:
  mutable std::mutex mutex_;
  std::string text_;
};

class StoreDirectory {
 public:
  StoreDirectory() : path_(fs::temp_directory_path() / ("zelvo-store-" + std::to_string(GetCurrentProcessId()) + "-" +
                                                       std::to_string(GetTickCount64()))) {
    fs::create_directories(path_);
  }
  ~StoreDirectory() {
    std::error_code ignored;
    for (const auto& entry : fs::recursive_directory_iterator(path_, ignored)) {
      SetFileAttributesW(entry.path().c_str(), FILE_ATTRIBUTE_NORMAL);
    }
    fs::remove_all(path_, ignored);
  }
  std::string file(const std::string& name) const { return (path_ / name).string(); }
  int countStartingWith(const std::string& prefix) const {
    int count = 0;
    for (const auto& entry : fs::directory_iterator(path_)) count += entry.path().filename().string().starts_with(prefix);
    return count;
  }

 private:
  fs::path path_;
};

TEST(WindowsStoreTest, ValuesOfEveryTypeOutliveTheStore) {
  StoreDirectory dir;
  RecordingSink log;
  const std::string path = dir.file("sub\\folder\\zelvo.sqlite");
  const Value::Dictionary values{{"text", Value("tëxt")}, {"number", Value(0.1)}, {"flag", Value(true)},
                                 {"list", Value(Value::Array{Value(1), Value("two")})}};
  {
    SqliteStore store(log, path);
    ASSERT_TRUE(store.isPersistent()) << log.text();
    for (const auto& [key, value] : values) store.set(key, value);
    store.set("gone", Value(1));
    store.remove("gone");
    EXPECT_TRUE(store.synchronize());
  }
  SqliteStore reopened(log, path);
  for (const auto& [key, value] : values) EXPECT_EQ(reopened.get(key), value) << key;
  EXPECT_FALSE(reopened.get("gone").has_value());
}

enum class Fault { kGarbage, kTruncated, kDirectoryInItsPlace, kReadOnlyFile };

struct FaultRow {
  const char* name;
  Fault fault;
  bool valuesRead;
  bool persistent;
  int movedAside;
  const char* logged;
};

const FaultRow kFaults[] = {
    {"Garbage", Fault::kGarbage, false, true, 1, "was damaged"},
    {"Truncated", Fault::kTruncated, false, true, 1, "was damaged"},
    {"DirectoryInItsPlace", Fault::kDirectoryInItsPlace, false, false, 0, "leaving it as it is"},
    {"ReadOnlyFile", Fault::kReadOnlyFile, true, false, 0, "can be read but not written"},
};

void PrintTo(const FaultRow& row, std::ostream* out) { *out << row.name; }

class WindowsStoreFaultTest : public ::testing::TestWithParam<FaultRow> {};

TEST_P(WindowsStoreFaultTest, EndsInItsState) {
  const FaultRow& row = GetParam();
  StoreDirectory dir;
  RecordingSink log;
  const std::string path = dir.file("zelvo.sqlite");
  {
    SqliteStore store(log, path);
    store.set("token", Value("kept"));
    ASSERT_TRUE(store.synchronize());
  }
  switch (row.fault) {
    case Fault::kGarbage:
      std::ofstream(path, std::ios::binary | std::ios::trunc) << std::string(8192, 'x');
      break;
    case Fault::kTruncated:
      fs::resize_file(path, 1000);
      break;
    case Fault::kDirectoryInItsPlace:
      fs::remove(path);
      fs::create_directory(path);
      break;
    case Fault::kReadOnlyFile: {
      SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_READONLY);
      // Wine keeps the attribute in the Unix mode, which does not stop root.
      HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
      if (file != INVALID_HANDLE_VALUE) {
        CloseHandle(file);
        GTEST_SKIP() << "the read-only attribute does not stop this user from writing";
      }
      break;
    }
  }
  SqliteStore store(log, path);
  EXPECT_EQ(store.get("token").has_value(), row.valuesRead) << log.text();
  EXPECT_EQ(store.isPersistent(), row.persistent) << log.text();
  EXPECT_EQ(dir.countStartingWith("zelvo.sqlite.corrupt-"), row.movedAside);
  EXPECT_NE(log.text().find(row.logged), std::string::npos) << log.text();
  // Nothing is lost in memory, whatever the file did.
  store.set("after", Value(2));
  EXPECT_EQ(store.get("after"), Value(2));
  EXPECT_EQ(store.synchronize(), row.persistent);
}

INSTANTIATE_TEST_SUITE_P(Store, WindowsStoreFaultTest, ::testing::ValuesIn(kFaults),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(WindowsStoreTest, TheDefaultPathIsInLocalAppData) {
  const std::optional<std::string> path = SqliteStore::defaultPath("com.example.news");
  ASSERT_TRUE(path.has_value());
  EXPECT_TRUE(path->ends_with("\\com.example.news\\zelvo.sqlite")) << *path;
  for (const char* bad : {"", ".", "..", "a\\b", "a/b", "c:"}) EXPECT_FALSE(SqliteStore::defaultPath(bad)) << bad;
}

}  // namespace
}  // namespace zelvo::portable
