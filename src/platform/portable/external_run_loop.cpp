#include "zelvo/portable/external_run_loop.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "platform/portable/loop_queue.h"

namespace zelvo::portable {

ExternalRunLoop::ExternalRunLoop() : queue_(std::make_unique<LoopQueue>([this] { wake(); })) {}

ExternalRunLoop::~ExternalRunLoop() { queue_->close(); }

void ExternalRunLoop::setWakeUp(std::function<void()> wakeUp) {
  auto shared = wakeUp ? std::make_shared<const std::function<void()>>(std::move(wakeUp)) : nullptr;
  std::lock_guard lock(mutex_);
  wakeUp_ = std::move(shared);
}

void ExternalRunLoop::runDue() {
  queue_->setLoopThread(std::this_thread::get_id());
  queue_->runDue();
}

std::optional<double> ExternalRunLoop::nextDueIn() const {
  const auto next = queue_->nextDue();
  if (!next) return std::nullopt;
  const std::chrono::duration<double> wait = *next - LoopQueue::Clock::now();
  return std::max(0.0, wait.count());
}

std::shared_ptr<Timer> ExternalRunLoop::addRepeatingTimer(double intervalSeconds, std::function<void()> callback) {
  return queue_->addRepeatingTimer(intervalSeconds, std::move(callback));
}

void ExternalRunLoop::post(std::function<void()> task) { queue_->post(std::move(task)); }

void ExternalRunLoop::runAndWait(std::function<void()> task) {
  if (isMainThread()) {
    if (task) task();
    return;
  }
  queue_->runAndWait(std::move(task));
}

bool ExternalRunLoop::isMainThread() const { return queue_->isLoopThread(); }

void ExternalRunLoop::wake() {
  std::shared_ptr<const std::function<void()>> wakeUp;
  {
    std::lock_guard lock(mutex_);
    wakeUp = wakeUp_;
  }
  if (wakeUp) (*wakeUp)();
}

}  // namespace zelvo::portable
