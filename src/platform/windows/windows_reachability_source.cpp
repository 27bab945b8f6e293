#include "platform/windows/windows_reachability_source.h"

#include <winsock2.h>
#include <ws2tcpip.h>
// After the sockets, which they need.
#include <iphlpapi.h>
#include <netlistmgr.h>
#include <objbase.h>

#include <algorithm>
#include <mutex>
#include <vector>

#include "platform/portable/io_thread.h"

namespace zelvo::windows_platform {
namespace {

using Clock = std::chrono::steady_clock;

bool isLoopback(const Ipv4SocketAddress& address) { return address.address[0] == 127; }

// The network list manager's view, or nothing where COM or the manager is missing.
std::optional<bool> connectedByNetworkList() {
  const HRESULT init = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  std::optional<bool> connected;
  INetworkListManager* manager = nullptr;
  if (SUCCEEDED(CoCreateInstance(CLSID_NetworkListManager, nullptr, CLSCTX_ALL, IID_INetworkListManager,
                                 reinterpret_cast<void**>(&manager)))) {
    NLM_CONNECTIVITY connectivity = NLM_CONNECTIVITY_DISCONNECTED;
    if (SUCCEEDED(manager->GetConnectivity(&connectivity))) {
      connected = (connectivity & (NLM_CONNECTIVITY_IPV4_INTERNET | NLM_CONNECTIVITY_IPV6_INTERNET |
                                   NLM_CONNECTIVITY_IPV4_LOCALNETWORK | NLM_CONNECTIVITY_IPV6_LOCALNETWORK |
                                   NLM_CONNECTIVITY_IPV4_SUBNET | NLM_CONNECTIVITY_IPV6_SUBNET)) != 0;
    }
    manager->Release();
  }
  if (SUCCEEDED(init)) CoUninitialize();
  return connected;
}

// Whether the routing table has a way towards `address` (a documentation address, never
// contacted, stands for the internet): nothing is sent, only the table is read.
bool routed(const std::optional<Ipv4SocketAddress>& address) {
  sockaddr_in target{};
  target.sin_family = AF_INET;
  if (address && address->address != std::array<uint8_t, 4>{}) {
    std::copy(address->address.begin(), address->address.end(), reinterpret_cast<uint8_t*>(&target.sin_addr));
  } else {
    const uint8_t documentation[4] = {192, 0, 2, 1};
    std::copy(std::begin(documentation), std::end(documentation), reinterpret_cast<uint8_t*>(&target.sin_addr));
  }
  DWORD index = 0;
  return GetBestInterfaceEx(reinterpret_cast<sockaddr*>(&target), &index) == NO_ERROR;
}

}  // namespace

std::optional<uint32_t> WindowsReachabilitySource::systemFlags(const std::optional<Ipv4SocketAddress>& address) {
  using namespace reachability_flags;
  if (address && isLoopback(*address)) return kReachable | kIsDirect | kIsLocalAddress;
  const std::optional<bool> listed = connectedByNetworkList();
  const bool reachable = listed ? *listed : routed(address);
  return reachable ? kReachable : 0u;
}

// Lock order: `mutex` is a leaf; probes and posts happen without it.
struct WindowsReachabilitySource::State : portable::IoThread::Source {
  struct Watch {
    std::optional<Ipv4SocketAddress> address;
    std::optional<uint32_t> lastFlags;
    // Runs the target's callback on the main loop while the target is scheduled.
    std::function<void()> notify;
  };

  State(RunLoop& loop, std::chrono::milliseconds interval, Probe p) : mainLoop(loop), pollInterval(interval), probe(std::move(p)) {}

  void prepare(std::vector<pollfd>&, std::optional<Clock::time_point>& deadline) override {
    std::lock_guard lock(mutex);
    if (!watches.empty() && (!deadline || nextPoll < *deadline)) deadline = nextPoll;
  }
  void dispatch(const pollfd*, std::size_t, Clock::time_point now) override {
    {
      std::lock_guard lock(mutex);
      if (watches.empty() || now < nextPoll) return;
      nextPoll = now + pollInterval;
    }
    recheck();
  }

  void recheck() {
    std::vector<std::pair<Watch*, std::optional<Ipv4SocketAddress>>> toProbe;
    {
      std::lock_guard lock(mutex);
      for (Watch* watch : watches) toProbe.emplace_back(watch, watch->address);
    }
    std::vector<std::pair<Watch*, std::optional<uint32_t>>> probed;
    for (auto& [watch, address] : toProbe) probed.emplace_back(watch, probe(address));
    std::vector<std::function<void()>> changed;
    {
      std::lock_guard lock(mutex);
      for (auto& [watch, flags] : probed) {
        // A watch removed meanwhile is gone: only those still listed are told.
        if (std::find(watches.begin(), watches.end(), watch) == watches.end()) continue;
        if (watch->lastFlags != flags) {
          watch->lastFlags = flags;
          changed.push_back(watch->notify);
        }
      }
    }
    for (auto& notify : changed) notify();
  }

  RunLoop& mainLoop;
  const std::chrono::milliseconds pollInterval;
  const Probe probe;
  std::shared_ptr<portable::IoThread> io;
  HANDLE notification = nullptr;
  std::mutex mutex;
  std::vector<Watch*> watches;  // guarded by mutex
  Clock::time_point nextPoll;   // guarded by mutex
};

class WindowsReachabilitySource::Target : public ReachabilityTarget {
 public:
  Target(std::shared_ptr<State> state, std::optional<Ipv4SocketAddress> address)
      : state_(std::move(state)), address_(address) {}
  ~Target() override { unscheduleFromMainRunLoop(); }

  std::optional<uint32_t> flags() override { return state_->probe(address_); }

  bool setCallback(std::function<void()> onChange) override {
    callback_ = std::make_shared<std::function<void()>>(std::move(onChange));
    return true;
  }

  bool scheduleOnMainRunLoop() override {
    if (watch_) return true;
    watch_ = std::make_unique<State::Watch>();
    watch_->address = address_;
    watch_->lastFlags = flags();
    // The callback runs on the main thread, and only while this target is still scheduled
    // there: unscheduling (on the main thread too) clears `live` before any later run.
    live_ = std::make_shared<bool>(true);
    watch_->notify = [loop = &state_->mainLoop, live = live_, callback = callback_] {
      loop->post([live, callback] {
        if (*live && callback && *callback) (*callback)();
      });
    };
    {
      std::lock_guard lock(state_->mutex);
      if (state_->watches.empty()) state_->nextPoll = Clock::now() + state_->pollInterval;
      state_->watches.push_back(watch_.get());
    }
    if (state_->io) state_->io->wake();
    return true;
  }

  void unscheduleFromMainRunLoop() override {
    if (!watch_) return;
    {
      std::lock_guard lock(state_->mutex);
      std::erase(state_->watches, watch_.get());
    }
    *live_ = false;
    watch_.reset();
  }

 private:
  std::shared_ptr<State> state_;
  const std::optional<Ipv4SocketAddress> address_;
  std::shared_ptr<std::function<void()>> callback_;
  std::shared_ptr<bool> live_;
  std::unique_ptr<State::Watch> watch_;
};

namespace {

void CALLBACK interfaceChanged(void* context, MIB_IPINTERFACE_ROW*, MIB_NOTIFICATION_TYPE) {
  static_cast<WindowsReachabilitySource*>(context)->recheck();
}

}  // namespace

WindowsReachabilitySource::WindowsReachabilitySource(RunLoop& mainLoop, std::shared_ptr<portable::IoThread> io,
                                                     std::chrono::milliseconds pollInterval, Probe probe)
    : state_(std::make_shared<State>(mainLoop, pollInterval, std::move(probe))) {
  state_->io = std::move(io);
  if (state_->io) {
    state_->io->post([io = state_->io.get(), state = state_] { io->addSource(state.get()); });
  }
  NotifyIpInterfaceChange(AF_UNSPEC, &interfaceChanged, this, FALSE, &state_->notification);
}

WindowsReachabilitySource::~WindowsReachabilitySource() {
  // Returns once no notification runs any more.
  if (state_->notification != nullptr) CancelMibChangeNotify2(state_->notification);
  if (state_->io) {
    state_->io->runAndWait([io = state_->io.get(), state = state_] { io->removeSource(state.get()); },
                           std::chrono::seconds(5));
  }
}

std::unique_ptr<ReachabilityTarget> WindowsReachabilitySource::targetForAddress(const Ipv4SocketAddress& address) {
  return std::make_unique<Target>(state_, address);
}

std::unique_ptr<ReachabilityTarget> WindowsReachabilitySource::targetForHostName(const std::string& hostName) {
  if (hostName.empty()) return nullptr;
  return std::make_unique<Target>(state_, std::nullopt);
}

void WindowsReachabilitySource::recheck() { state_->recheck(); }

}  // namespace zelvo::windows_platform
