// libzelvo.so.1 as 1.0 shipped it: ThreadRunLoop, ExternalRunLoop, ThreadExecutor, HostScreen,
// AlwaysReachableSource and SqliteStore were classes of zelvo::linux_platform, and a host built
// against 1.0 calls them by those names (constructors, members, vtables, typeinfo). They now live in
// zelvo::portable, and the headers at the old paths only alias them, so nothing compiled today
// names these classes: they exist for the 1.x promise that a host built against 1.0 still
// loads and runs. Each derives from its portable class without data of its own (the same
// size and layout as in 1.0) and forwards every member that 1.0 exported, so the vtables and
// typeinfo under the old names are emitted here. This file includes none of the aliasing
// headers (and is kept out of unity builds) since the same names are classes here.
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "zelvo/export.h"
#include "zelvo/portable/always_reachable_source.h"
#include "zelvo/portable/external_run_loop.h"
#include "zelvo/portable/host_screen.h"
#include "zelvo/portable/sqlite_store.h"
#include "zelvo/portable/thread_executor.h"
#include "zelvo/portable/thread_run_loop.h"

namespace zelvo::linux_platform {

class ZELVO_EXPORT ThreadRunLoop : public portable::ThreadRunLoop {
 public:
  ThreadRunLoop();
  ~ThreadRunLoop() override;
  std::shared_ptr<Timer> addRepeatingTimer(double intervalSeconds, std::function<void()> callback) override;
  void post(std::function<void()> task) override;
  void runAndWait(std::function<void()> task) override;
  bool isMainThread() const override;
};

class ZELVO_EXPORT ExternalRunLoop : public portable::ExternalRunLoop {
 public:
  ExternalRunLoop();
  ~ExternalRunLoop() override;
  void setWakeUp(std::function<void()> wakeUp);
  void runDue();
  std::optional<double> nextDueIn() const;
  std::shared_ptr<Timer> addRepeatingTimer(double intervalSeconds, std::function<void()> callback) override;
  void post(std::function<void()> task) override;
  void runAndWait(std::function<void()> task) override;
  bool isMainThread() const override;
};

class ZELVO_EXPORT ThreadExecutor : public portable::ThreadExecutor {
 public:
  explicit ThreadExecutor(std::size_t threadCount);
  ~ThreadExecutor() override;
  void execute(std::function<void()> task) override;
};

class ZELVO_EXPORT HostScreen : public portable::HostScreen {
 public:
  std::optional<ScreenMetrics> mainScreen() const override;
  void setMainScreen(std::optional<ScreenMetrics> metrics);
};

class ZELVO_EXPORT AlwaysReachableSource : public portable::AlwaysReachableSource {
 public:
  std::unique_ptr<ReachabilityTarget> targetForAddress(const Ipv4SocketAddress& address) override;
  std::unique_ptr<ReachabilityTarget> targetForHostName(const std::string& hostName) override;
};

ThreadRunLoop::ThreadRunLoop() = default;
ThreadRunLoop::~ThreadRunLoop() = default;
std::shared_ptr<Timer> ThreadRunLoop::addRepeatingTimer(double intervalSeconds, std::function<void()> callback) {
  return portable::ThreadRunLoop::addRepeatingTimer(intervalSeconds, std::move(callback));
}
void ThreadRunLoop::post(std::function<void()> task) { portable::ThreadRunLoop::post(std::move(task)); }
void ThreadRunLoop::runAndWait(std::function<void()> task) { portable::ThreadRunLoop::runAndWait(std::move(task)); }
bool ThreadRunLoop::isMainThread() const { return portable::ThreadRunLoop::isMainThread(); }

ExternalRunLoop::ExternalRunLoop() = default;
ExternalRunLoop::~ExternalRunLoop() = default;
void ExternalRunLoop::setWakeUp(std::function<void()> wakeUp) { portable::ExternalRunLoop::setWakeUp(std::move(wakeUp)); }
void ExternalRunLoop::runDue() { portable::ExternalRunLoop::runDue(); }
std::optional<double> ExternalRunLoop::nextDueIn() const { return portable::ExternalRunLoop::nextDueIn(); }
std::shared_ptr<Timer> ExternalRunLoop::addRepeatingTimer(double intervalSeconds, std::function<void()> callback) {
  return portable::ExternalRunLoop::addRepeatingTimer(intervalSeconds, std::move(callback));
}
void ExternalRunLoop::post(std::function<void()> task) { portable::ExternalRunLoop::post(std::move(task)); }
void ExternalRunLoop::runAndWait(std::function<void()> task) { portable::ExternalRunLoop::runAndWait(std::move(task)); }
bool ExternalRunLoop::isMainThread() const { return portable::ExternalRunLoop::isMainThread(); }

ThreadExecutor::ThreadExecutor(std::size_t threadCount) : portable::ThreadExecutor(threadCount) {}
ThreadExecutor::~ThreadExecutor() = default;
void ThreadExecutor::execute(std::function<void()> task) { portable::ThreadExecutor::execute(std::move(task)); }

std::optional<ScreenMetrics> HostScreen::mainScreen() const { return portable::HostScreen::mainScreen(); }
void HostScreen::setMainScreen(std::optional<ScreenMetrics> metrics) { portable::HostScreen::setMainScreen(metrics); }

std::unique_ptr<ReachabilityTarget> AlwaysReachableSource::targetForAddress(const Ipv4SocketAddress& address) {
  return portable::AlwaysReachableSource::targetForAddress(address);
}
std::unique_ptr<ReachabilityTarget> AlwaysReachableSource::targetForHostName(const std::string& hostName) {
  return portable::AlwaysReachableSource::targetForHostName(hostName);
}

// 1.0's constructor that took the platform's I/O thread is not kept: no host could make one.
class ZELVO_EXPORT SqliteStore : public portable::SqliteStore {
 public:
  static std::optional<std::string> defaultPath(const std::string& applicationIdentifier);
  SqliteStore(LogSink& log, std::optional<std::string> path, std::chrono::milliseconds writeDelay);
  ~SqliteStore() override;
  std::optional<Value> get(const std::string& key) const override;
  void set(const std::string& key, Value value) override;
  void remove(const std::string& key) override;
  bool synchronize() override;
  bool isPersistent() const;
};

std::optional<std::string> SqliteStore::defaultPath(const std::string& applicationIdentifier) {
  return portable::SqliteStore::defaultPath(applicationIdentifier);
}
SqliteStore::SqliteStore(LogSink& log, std::optional<std::string> path, std::chrono::milliseconds writeDelay)
    : portable::SqliteStore(log, std::move(path), writeDelay) {}
SqliteStore::~SqliteStore() = default;
std::optional<Value> SqliteStore::get(const std::string& key) const { return portable::SqliteStore::get(key); }
void SqliteStore::set(const std::string& key, Value value) { portable::SqliteStore::set(key, std::move(value)); }
void SqliteStore::remove(const std::string& key) { portable::SqliteStore::remove(key); }
bool SqliteStore::synchronize() { return portable::SqliteStore::synchronize(); }
bool SqliteStore::isPersistent() const { return portable::SqliteStore::isPersistent(); }

}  // namespace zelvo::linux_platform
