#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

#include "zelvo/platform/run_loop.h"
#include "zelvo/export.h"

namespace zelvo::testing {

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

}  // namespace zelvo::testing
