#include "zelvo/qt/qt_loop_source.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QTimerEvent>

#include <atomic>
#include <chrono>
#include <cmath>
#include <mutex>

namespace zelvo::qt {

using portable::ExternalRunLoop;

namespace {

const QEvent::Type kWakeEvent = static_cast<QEvent::Type>(QEvent::registerEventType());

// What a wake-up reaches from any thread: the driver, while it lives. The lock keeps the
// driver from being destroyed between the check and postEvent; events still queued when it
// goes are discarded by QObject's destructor.
struct WakeTarget {
  std::mutex mutex;
  QObject* driver = nullptr;  // guarded by mutex
  std::atomic<bool> pending{false};
};

}  // namespace

// Runs the loop's due work from its thread's Qt event loop: on a wake-up event, and on a timer
// set for the loop's next due work. No work, no timer.
class LoopDriver : public QObject {
 public:
  explicit LoopDriver(std::shared_ptr<ExternalRunLoop> loop)
      : loop_(std::move(loop)), target_(std::make_shared<WakeTarget>()) {
    target_->driver = this;
    loop_->setWakeUp([target = target_] {
      // One wake-up event on its way is enough: it looks at all the work there is.
      if (target->pending.exchange(true)) return;
      std::lock_guard lock(target->mutex);
      if (target->driver != nullptr) QCoreApplication::postEvent(target->driver, new QEvent(kWakeEvent));
    });
    // Work posted before the wake-up was set may be waiting already.
    QCoreApplication::postEvent(this, new QEvent(kWakeEvent));
  }
  ~LoopDriver() override {
    std::lock_guard lock(target_->mutex);
    target_->driver = nullptr;
  }
  LoopDriver(const LoopDriver&) = delete;
  LoopDriver& operator=(const LoopDriver&) = delete;

 protected:
  bool event(QEvent* event) override {
    if (event->type() != kWakeEvent) return QObject::event(event);
    target_->pending.store(false);
    service();
    return true;
  }
  void timerEvent(QTimerEvent*) override { service(); }

 private:
  void service() {
    std::optional<double> due = loop_->nextDueIn();
    if (due && *due <= 0) {
      loop_->runDue();
      due = loop_->nextDueIn();
    }
    if (timer_ != 0) killTimer(timer_);
    timer_ = 0;
    if (!due) return;
    // Rounded up: waking a millisecond early would only find nothing due and sleep again.
    const auto wait = std::chrono::milliseconds(static_cast<long long>(std::ceil(std::max(*due, 0.0) * 1000.0)));
    timer_ = startTimer(wait, Qt::PreciseTimer);
  }

  std::shared_ptr<ExternalRunLoop> loop_;
  std::shared_ptr<WakeTarget> target_;
  int timer_ = 0;
};

QtLoopSource::QtLoopSource(std::shared_ptr<ExternalRunLoop> loop)
    : driver_(std::make_unique<LoopDriver>(std::move(loop))) {}

QtLoopSource::~QtLoopSource() = default;

}  // namespace zelvo::qt
