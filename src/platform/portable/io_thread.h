#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "platform/portable/io_wait.h"

namespace zelvo::portable {

// The platform's one I/O thread: a loop that runs posted tasks in order and
// drives every "source" registered with it (the HTTP transfers, the netlink socket, the
// store's delayed writes), each of which says which descriptors it waits on and until when.
// One thread for all of them instead of a thread each: a library in someone else's process
// should cost that process as few threads as it can.
//
// Tasks and sources must not block for long: whatever they wait on, every other source waits
// too. Blocking work (a synchronous fetch) belongs on the background executor.
//
// Thread: post(), runAndWait() and isIoThread() from any thread; the Source calls and
// addSource()/removeSource() on the I/O thread only. Destroy it from another thread, after
// every source has been removed: the destructor drops the tasks not yet run and joins. (When
// the last owner lets go on the I/O thread itself, the thread ends on its own instead.)
class IoThread {
 public:
  using Clock = std::chrono::steady_clock;

  // Something the loop drives. Every call comes on the I/O thread.
  class Source {
   public:
    virtual ~Source() = default;
    // Appends the descriptors to wait on and lowers `deadline` to when dispatch() is next
    // needed without any of them being ready.
    virtual void prepare(std::vector<pollfd>& fds, std::optional<Clock::time_point>& deadline) = 0;
    // After the wait: the descriptors prepare() appended, with their revents filled in.
    virtual void dispatch(const pollfd* fds, std::size_t count, Clock::time_point now) = 0;
  };

  // Never throws: when no thread can be made, started() is false and posts are refused.
  IoThread();
  // One that never starts, for a service that cannot run: every post is refused.
  static std::shared_ptr<IoThread> makeStopped();
  ~IoThread();
  IoThread(const IoThread&) = delete;
  IoThread& operator=(const IoThread&) = delete;

  bool started() const;
  bool isIoThread() const;
  // Queues `task` for the I/O thread. False (and the task dropped at once) when the thread
  // never started or is stopping, so the caller can fail its work on its own thread.
  bool post(std::function<void()> task);
  // Makes the thread prepare its sources again, for a source whose deadline moved earlier.
  void wake();
  // Runs `task` on the I/O thread and waits up to `limit` for it (inline on the I/O thread).
  // False when it did not run within the limit; it may still run later.
  bool runAndWait(std::function<void()> task, std::chrono::milliseconds limit);

  void addSource(Source* source);
  void removeSource(Source* source);

 private:
  struct State;
  explicit IoThread(bool start);
  std::shared_ptr<State> state_;
};

}  // namespace zelvo::portable
