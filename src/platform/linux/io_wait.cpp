#include "platform/portable/io_wait.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace zelvo::portable {

struct IoWait::State {
  int wakeFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  ~State() {
    if (wakeFd >= 0) ::close(wakeFd);
  }
};

IoWait::IoWait() : state_(std::make_unique<State>()) {}

IoWait::~IoWait() = default;

bool IoWait::usable() const { return state_->wakeFd >= 0; }

void IoWait::wake() {
  if (state_->wakeFd < 0) return;
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = ::write(state_->wakeFd, &one, sizeof(one));
}

void IoWait::wait(std::vector<pollfd>& fds, int timeoutMs) {
  // The wake-up's descriptor goes first and comes off again, so the caller's indices hold.
  fds.insert(fds.begin(), pollfd{state_->wakeFd, POLLIN, 0});
  if (::poll(fds.data(), fds.size(), timeoutMs) < 0 && errno != EINTR) {
    // Only a broken descriptor gets here; a short pause keeps a source that keeps handing
    // one in from spinning the thread.
    ::poll(nullptr, 0, 10);
  }
  if (fds.front().revents != 0) {
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t read = ::read(state_->wakeFd, &count, sizeof(count));
  }
  fds.erase(fds.begin());
}

}  // namespace zelvo::portable
