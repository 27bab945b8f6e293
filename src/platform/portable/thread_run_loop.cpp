#include "zelvo/portable/thread_run_loop.h"

#include <system_error>
#include <utility>

#include "platform/portable/loop_queue.h"

namespace zelvo::portable {

ThreadRunLoop::ThreadRunLoop() : queue_(std::make_unique<LoopQueue>([this] { wake(); })) {
  try {
    thread_ = std::thread([this] { run(); });
  } catch (const std::system_error&) {
    // No thread to be had: a closed loop that runs nothing, rather than an exception that
    // would reach the host through the tracker's construction.
    queue_->close();
    return;
  }
  queue_->setLoopThread(thread_.get_id());
}

ThreadRunLoop::~ThreadRunLoop() {
  // First, so that nothing more starts and runAndWait callers are released even while a
  // callback is still running on the loop thread.
  queue_->close();
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wakeUp_.notify_one();
  if (thread_.joinable()) thread_.join();
}

std::shared_ptr<Timer> ThreadRunLoop::addRepeatingTimer(double intervalSeconds, std::function<void()> callback) {
  return queue_->addRepeatingTimer(intervalSeconds, std::move(callback));
}

void ThreadRunLoop::post(std::function<void()> task) { queue_->post(std::move(task)); }

void ThreadRunLoop::runAndWait(std::function<void()> task) {
  if (isMainThread()) {
    if (task) task();
    return;
  }
  queue_->runAndWait(std::move(task));
}

bool ThreadRunLoop::isMainThread() const { return queue_->isLoopThread(); }

void ThreadRunLoop::wake() {
  {
    std::lock_guard lock(mutex_);
    woken_ = true;
  }
  wakeUp_.notify_one();
}

void ThreadRunLoop::run() {
  for (;;) {
    queue_->runDue();
    const auto next = queue_->nextDue();
    std::unique_lock lock(mutex_);
    // Work added after runDue() set woken_, so it is never slept through.
    const auto awake = [this] { return woken_ || stopping_; };
    if (next) {
      wakeUp_.wait_until(lock, *next, awake);
    } else {
      wakeUp_.wait(lock, awake);
    }
    if (stopping_) return;
    woken_ = false;
  }
}

}  // namespace zelvo::portable
