#include "zelvo/gtk/network_monitor_source.h"

#include <gio/gio.h>

#include <atomic>

namespace zelvo::gtk {
namespace {

uint32_t currentFlags(GNetworkMonitor* monitor) {
  return g_network_monitor_get_network_available(monitor) ? reachability_flags::kReachable : 0;
}

// One target: GNetworkMonitor answers for the network as a whole, so every destination gets
// the same flags. They are read on the main thread, where the monitor's signal arrives, and
// kept in an atomic for readers on other threads.
class MonitorTarget : public ReachabilityTarget {
 public:
  MonitorTarget() : monitor_(G_NETWORK_MONITOR(g_object_ref(g_network_monitor_get_default()))) {
    flags_.store(currentFlags(monitor_));
  }
  ~MonitorTarget() override {
    unscheduleFromMainRunLoop();
    g_object_unref(monitor_);
  }
  MonitorTarget(const MonitorTarget&) = delete;
  MonitorTarget& operator=(const MonitorTarget&) = delete;

  std::optional<uint32_t> flags() override { return flags_.load(); }
  bool setCallback(std::function<void()> onChange) override {
    onChange_ = std::move(onChange);
    return true;
  }
  bool scheduleOnMainRunLoop() override {
    if (handler_ == 0) handler_ = g_signal_connect(monitor_, "network-changed", G_CALLBACK(changed), this);
    return true;
  }
  void unscheduleFromMainRunLoop() override {
    if (handler_ != 0) g_signal_handler_disconnect(monitor_, handler_);
    handler_ = 0;
  }

 private:
  static void changed(GNetworkMonitor* monitor, gboolean, gpointer data) {
    auto* self = static_cast<MonitorTarget*>(data);
    const uint32_t now = currentFlags(monitor);
    // GIO repeats the signal for every route that comes and goes; the tracker hears of changes.
    if (self->flags_.exchange(now) != now && self->onChange_) self->onChange_();
  }

  GNetworkMonitor* monitor_;
  std::atomic<uint32_t> flags_{0};
  std::function<void()> onChange_;
  gulong handler_ = 0;
};

}  // namespace

std::unique_ptr<ReachabilityTarget> NetworkMonitorSource::targetForAddress(const Ipv4SocketAddress&) {
  return std::make_unique<MonitorTarget>();
}

std::unique_ptr<ReachabilityTarget> NetworkMonitorSource::targetForHostName(const std::string&) {
  return std::make_unique<MonitorTarget>();
}

}  // namespace zelvo::gtk
