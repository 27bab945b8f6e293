#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "zelvo/platform/platform.h"
#include "zelvo/export.h"

// The testing platform: deterministic, in-memory, virtual time. Every fake keeps its state
// per instance; nothing here is static. Hosts can use it to test their own integration.
namespace zelvo::testing {

// A clock that moves only when told to.
class ZELVO_EXPORT VirtualClock : public Clock {
 public:
  explicit VirtualClock(double start = 0.0) : now_(start) {}
  double now() const override { return now_.load(); }
  void set(double seconds) { now_.store(seconds); }

 private:
  std::atomic<double> now_;
};

// A calendar in a time zone chosen by IANA name ("UTC", "Europe/Berlin"), following the
// zone's real rules from the system's time-zone database.
class ZELVO_EXPORT ZoneCalendar : public Calendar {
 public:
  // Falls back to UTC (and reports false from ok()) when the zone cannot be loaded.
  explicit ZoneCalendar(const std::string& zoneName = "UTC");
  ~ZoneCalendar() override;
  bool ok() const;
  double startOfDay(double instant) const override;
  // Seconds east of UTC in effect at `instant` (seconds since 2001).
  double utcOffsetAt(double instant) const;
  // Switches to another zone, with the same fallback. Thread: any.
  void setZone(const std::string& zoneName);

 private:
  struct Zone;
  std::unique_ptr<Zone> zone_;
};

// The main run loop in virtual time. The thread that made it is the main thread. Time moves
// only in advance(), which fires due timers in time order (by firing time, then by the order
// the timers were made) and runs posted tasks, on the calling thread.
class ZELVO_EXPORT ManualRunLoop : public RunLoop {
 public:
  explicit ManualRunLoop(VirtualClock& clock);
  ~ManualRunLoop() override;

  std::shared_ptr<Timer> addRepeatingTimer(double intervalSeconds, std::function<void()> callback) override;
  void post(std::function<void()> task) override;
  // From another thread: queues the task and blocks until the main thread runs it in
  // runPendingTasks() or advance().
  void runAndWait(std::function<void()> task) override;
  bool isMainThread() const override;

  // Moves time forward to now + seconds: every firing at a time <= the target runs, in order,
  // with the clock set to the firing's time; posted tasks run before each firing and at the
  // end. A negative amount counts as zero. Main thread only.
  void advance(double seconds);
  // Runs the tasks posted so far (and those they post). Main thread only.
  void runPendingTasks();
  // Waits (in real time, at most `timeoutSeconds`) until another thread has posted a task,
  // then runs pending tasks. For tests that drive a call from a second thread. Main thread only.
  bool waitForPostedTask(double timeoutSeconds);
  std::size_t activeTimerCount() const;
  // When the next firing is due (seconds since 2001), or nothing when no timer is valid; lets
  // a driver step the loop one firing at a time. Main thread only.
  std::optional<double> nextFiringTime() const;

 private:
  struct TimerState;
  class TimerHandle;
  VirtualClock& clock_;
  std::thread::id mainThread_;
  mutable std::mutex mutex_;
  std::condition_variable posted_;
  std::vector<std::shared_ptr<TimerState>> timers_;
  std::deque<std::function<void()>> tasks_;
  uint64_t nextTimerOrder_ = 0;
};

// Runs background work: inline on the calling thread, or queued until runAll().
class ZELVO_EXPORT ManualExecutor : public Executor {
 public:
  enum class Mode { kQueued, kInline };
  explicit ManualExecutor(Mode mode = Mode::kQueued) : mode_(mode) {}
  void execute(std::function<void()> task) override;
  void setMode(Mode mode);
  // Runs every queued task (and those they queue) on the calling thread.
  void runAll();
  std::size_t pendingCount() const;

 private:
  mutable std::mutex mutex_;
  Mode mode_;
  std::deque<std::function<void()>> tasks_;
};

// A store in memory, with counters of synchronize() calls.
class ZELVO_EXPORT MemoryStore : public KeyValueStore {
 public:
  std::optional<Value> get(const std::string& key) const override;
  void set(const std::string& key, Value value) override;
  void remove(const std::string& key) override;
  bool synchronize() override;
  int synchronizeCount() const;
  std::map<std::string, Value> snapshot() const;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, Value> values_;
  int synchronizeCount_ = 0;
};

// An HTTP client that records every request and answers as the test scripts it. A request
// with no scripted answer fails the test loudly through the unscripted handler (by default
// it answers with a transport error "unscripted request" and counts it).
class ZELVO_EXPORT ScriptedHttpClient : public HttpClient {
 public:
  struct Answer {
    enum class Kind { kStatus, kError, kNever } kind = Kind::kStatus;
    int status = 200;
    static Answer withStatus(int code) { return {Kind::kStatus, code}; }
    static Answer error() { return {Kind::kError, 0}; }
    // The request is never answered (its completion is dropped).
    static Answer never() { return {Kind::kNever, 0}; }
  };
  // Where completions run: inline inside startGet, on a separate thread (one at a time,
  // in request order), or held until deliverPending() on the calling thread.
  enum class Delivery { kInline, kThread, kDeferred };

  struct Recorded {
    HttpRequest request;
    std::string header(const std::string& name) const;
  };

  explicit ScriptedHttpClient(Delivery delivery = Delivery::kDeferred);
  ~ScriptedHttpClient() override;

  void startGet(HttpRequest request, HttpCompletion done) override;
  std::optional<std::string> fetch(const std::string& url) override;
  // A small portable check, never looser than the curl client's (see url_characters.h).
  bool acceptsUrl(std::string_view url) const override;

  // Appends answers to the queue; every request started takes the next one.
  void enqueue(Answer answer);
  void enqueueStatuses(std::initializer_list<int> statuses);
  // Used when the queue is empty; by default none, so an unscripted request is an error.
  void setDefaultAnswer(std::optional<Answer> answer);
  // What fetch() returns for a URL: a body, or nothing (download failed).
  void setFetchResult(const std::string& url, std::optional<std::string> body);
  void setDelivery(Delivery delivery);
  // Runs the held completions (and those of requests they start). Returns how many ran.
  std::size_t deliverPending();
  // Waits (in real time, bounded) until the completion thread is idle.
  bool waitUntilIdle(double timeoutSeconds = 5.0);

  std::vector<Recorded> requests() const;
  std::size_t requestCount() const;
  std::vector<std::string> fetchedUrls() const;
  std::size_t unscriptedCount() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// Flags of all targets, set by the test; changes are announced on the main run loop.
class ZELVO_EXPORT ScriptedReachabilitySource : public ReachabilitySource {
 public:
  explicit ScriptedReachabilitySource(RunLoop& mainLoop);
  ~ScriptedReachabilitySource() override;
  std::unique_ptr<ReachabilityTarget> targetForAddress(const Ipv4SocketAddress& address) override;
  std::unique_ptr<ReachabilityTarget> targetForHostName(const std::string& hostName) override;

  // Flags of the internet (zero address) and host-name targets; nothing means unreadable.
  // Initially kReachable.
  void setFlags(std::optional<uint32_t> flags);
  // Flags of the link-local (169.254.0.0) target. Initially kReachable | kIsDirect.
  void setLocalFlags(std::optional<uint32_t> flags);
  // Makes the next target creations fail.
  void setRefuseTargets(bool refuse);
  std::vector<Ipv4SocketAddress> requestedAddresses() const;

 private:
  struct Impl;
  std::unique_ptr<ReachabilityTarget> makeTarget(bool local);
  // Shared with the targets, which may outlive the source.
  std::shared_ptr<Impl> impl_;
};

// UUID bytes: given ones first, in order, then bytes from a seeded generator with the
// version-4 bits set.
class ZELVO_EXPORT SeededUuidSource : public UuidSource {
 public:
  explicit SeededUuidSource(uint64_t seed = 0) : state_(seed) {}
  std::array<uint8_t, 16> newUuidBytes() override;
  void enqueue(const std::array<uint8_t, 16>& bytes);

 private:
  std::mutex mutex_;
  uint64_t state_;
  std::deque<std::array<uint8_t, 16>> queued_;
};

class ZELVO_EXPORT FakeDeviceInfo : public DeviceInfo {
 public:
  std::string modelName() const override;
  std::optional<std::string> applicationIdentifier() const override;
  void setModelName(std::string model);
  void setApplicationIdentifier(std::optional<std::string> identifier);

 private:
  mutable std::mutex mutex_;
  std::string model_ = "iPhone";
  std::optional<std::string> identifier_ = "com.example.app";
};

class ZELVO_EXPORT FakeScreen : public Screen {
 public:
  std::optional<ScreenMetrics> mainScreen() const override;
  void setMainScreen(std::optional<ScreenMetrics> screen);
  // How often the main screen was asked for.
  int queryCount() const;

 private:
  mutable std::mutex mutex_;
  std::optional<ScreenMetrics> screen_ = ScreenMetrics{375.0, 667.0, 2.0};
  mutable int queries_ = 0;
};

// Keeps every line written, with its severity.
class ZELVO_EXPORT CapturingLogSink : public LogSink {
 public:
  void write(LogSeverity severity, std::string_view line) override;
  std::vector<std::string> lines() const;
  // The lines written at `severity`.
  std::vector<std::string> lines(LogSeverity severity) const;
  std::size_t count(std::string_view line) const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  std::vector<LogSeverity> severities_;
};

// All of the above, as one platform. Starts at `start` seconds since 2001 on the calling
// thread, which becomes the main thread.
class ZELVO_EXPORT TestingPlatform : public Platform {
 public:
  explicit TestingPlatform(double start = 0.0, const std::string& zoneName = "UTC");
  ~TestingPlatform() override;

  Clock& clock() override { return clock_; }
  Calendar& calendar() override { return calendar_; }
  RunLoop& mainRunLoop() override { return runLoop_; }
  Executor& backgroundExecutor() override { return executor_; }
  NotificationCenter& notificationCenter() override { return notifications_; }
  KeyValueStore* store() override { return storeEnabled_ ? &store_ : nullptr; }
  HttpClient& httpClient() override { return http_; }
  ReachabilitySource& reachabilitySource() override { return reachability_; }
  UuidSource& uuidSource() override { return uuids_; }
  DeviceInfo& deviceInfo() override { return device_; }
  Screen& screen() override { return screen_; }
  EventDispatch& eventDispatch() override { return events_; }
  LogSink& logSink() override { return log_; }
  bool consentRequired() const override { return consentRequired_; }

  VirtualClock& virtualClock() { return clock_; }
  ManualRunLoop& runLoop() { return runLoop_; }
  ManualExecutor& executor() { return executor_; }
  MemoryStore& memoryStore() { return store_; }
  ScriptedHttpClient& http() { return http_; }
  ScriptedReachabilitySource& reachability() { return reachability_; }
  SeededUuidSource& uuids() { return uuids_; }
  FakeDeviceInfo& device() { return device_; }
  FakeScreen& fakeScreen() { return screen_; }
  CapturingLogSink& log() { return log_; }
  // Switches the calendar to another zone (the calendar object stays the same).
  void setTimeZone(const std::string& zoneName);
  // Without a store, store() answers nullptr.
  void setStoreEnabled(bool enabled) { storeEnabled_ = enabled; }
  // The host's consent policy; a tracker reads it when it is made, so set it before.
  void setConsentRequired(bool required) { consentRequired_ = required; }
  // Shorthand for runLoop().advance(seconds).
  void advance(double seconds) { runLoop_.advance(seconds); }

 private:
  // Members are destroyed in reverse order: the HTTP client, last here, joins its completion
  // thread first, while everything a completion may touch still exists.
  VirtualClock clock_;
  ZoneCalendar calendar_;
  ManualRunLoop runLoop_;
  ManualExecutor executor_;
  NotificationCenter notifications_;
  MemoryStore store_;
  std::atomic<bool> storeEnabled_{true};
  std::atomic<bool> consentRequired_{false};
  ScriptedReachabilitySource reachability_;
  SeededUuidSource uuids_;
  FakeDeviceInfo device_;
  FakeScreen screen_;
  EventDispatch events_;
  CapturingLogSink log_;
  ScriptedHttpClient http_;
};

}  // namespace zelvo::testing
