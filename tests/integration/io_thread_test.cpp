// The I/O thread in real time: what runAndWait() promises its caller about the task it ran.
#include "platform/portable/io_thread.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <utility>

#include "integration/bounded_wait.h"

namespace zelvo::integration {
namespace {

using portable::IoThread;

// Lets go of a task's captures before the caller goes on: a client's destructor runs its last
// task this way and then drops its own share of the worker and of the thread, and the last
// share ending on the I/O thread left that thread running, unjoined, past its owner (a process
// exiting then saw TLS state half torn down).
TEST(IoThread, RunAndWaitLetsGoOfTheTaskBeforeItReturns) {
  std::promise<void> returned;
  std::shared_future<void> returnedFuture = returned.get_future().share();
  std::promise<bool> releasedBeforeReturn;
  struct Probe {
    std::shared_future<void> returned;
    std::promise<bool>* report;
    ~Probe() {
      // Released after the caller went on, this sees it at once; released before, the caller is
      // still waiting and the bounded wait runs out.
      if (report != nullptr)
        report->set_value(returned.wait_for(std::chrono::milliseconds(250)) == std::future_status::timeout);
    }
  };
  auto probe = std::make_shared<Probe>(returnedFuture, &releasedBeforeReturn);
  IoThread io;
  ASSERT_TRUE(io.started());
  EXPECT_TRUE(io.runAndWait([probe = std::exchange(probe, nullptr)] {}, kWaitLimit));
  returned.set_value();
  auto outcome = releasedBeforeReturn.get_future();
  ASSERT_EQ(outcome.wait_for(kWaitLimit), std::future_status::ready);
  EXPECT_TRUE(outcome.get());
}

}  // namespace
}  // namespace zelvo::integration
