#pragma once

#ifdef _WIN32
#include <winsock2.h>  // pollfd
#else
#include <poll.h>
#endif

#include <memory>
#include <vector>

namespace zelvo::portable {

// What the I/O thread sleeps on, the operating system's way: the descriptors of its sources and
// a wake-up that other threads ring. On Linux a poll(2) with an eventfd; on Windows a condition
// variable, since no Windows source waits on a descriptor (WinHTTP runs its own threads).
// Thread: wake() from any thread; wait() on the I/O thread.
class IoWait {
 public:
  IoWait();
  ~IoWait();
  IoWait(const IoWait&) = delete;
  IoWait& operator=(const IoWait&) = delete;

  // False when the wake-up could not be made: the I/O thread cannot run.
  bool usable() const;
  void wake();
  // Sleeps until a descriptor of `fds` is ready (their revents are then set), wake() was
  // called since the last wait, or `timeoutMs` passed (-1: no limit).
  void wait(std::vector<pollfd>& fds, int timeoutMs);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace zelvo::portable
