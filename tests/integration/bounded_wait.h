#pragma once

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

namespace zelvo::integration {

// How long a test waits for what another thread must do (curl's, a run loop's, the server's):
// far past any real delay on a loaded machine, so running out means it never happens.
inline constexpr std::chrono::milliseconds kWaitLimit{5000};

// The emulator that runs the tests of a cross build (CTest names it in ZELVO_TEST_EMULATOR), or
// "". Under it TLS and curl run many times slower, and its own threads share the process.
inline std::string testEmulator() {
  const char* emulator = std::getenv("ZELVO_TEST_EMULATOR");
  return emulator != nullptr ? emulator : "";
}

// Polls `condition` until it holds or kWaitLimit runs out. For states another thread reaches
// (an answer handled on curl's thread), never for a timer.
template <typename Condition>
bool eventually(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + kWaitLimit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

}  // namespace zelvo::integration
