#include "zelvo/qt/network_information_source.h"

#include <QNetworkInformation>
#include <QObject>

#include <atomic>

namespace zelvo::qt {

// The flags as Qt last reported them, kept for readers on other threads. Written on the Qt
// thread, where QNetworkInformation's signal arrives.
struct NetworkInformationSource::State {
  std::atomic<uint32_t> flags{reachability_flags::kReachable};
};

namespace {

uint32_t flagsFor(QNetworkInformation::Reachability reachability) {
  switch (reachability) {
    case QNetworkInformation::Reachability::Disconnected:
    case QNetworkInformation::Reachability::Local:
      return 0;
    default:
      return reachability_flags::kReachable;  // online, a site, or a backend that cannot tell
  }
}

// One target: Qt answers for the network as a whole, so every destination gets the same flags.
class InformationTarget : public ReachabilityTarget {
 public:
  explicit InformationTarget(std::shared_ptr<NetworkInformationSource::State> state)
      : state_(std::move(state)), last_(state_->flags.load()) {}
  ~InformationTarget() override { unscheduleFromMainRunLoop(); }
  InformationTarget(const InformationTarget&) = delete;
  InformationTarget& operator=(const InformationTarget&) = delete;

  std::optional<uint32_t> flags() override { return state_->flags.load(); }
  bool setCallback(std::function<void()> onChange) override {
    onChange_ = std::move(onChange);
    return true;
  }
  bool scheduleOnMainRunLoop() override {
    if (context_) return true;
    context_ = std::make_unique<QObject>();
    // Connected after the source's own handler, so the flags are current when this one runs.
    QObject::connect(QNetworkInformation::instance(), &QNetworkInformation::reachabilityChanged, context_.get(),
                     [this] {
                       const uint32_t now = state_->flags.load();
                       if (now == last_) return;
                       last_ = now;
                       if (onChange_) onChange_();
                     });
    return true;
  }
  void unscheduleFromMainRunLoop() override { context_.reset(); }

 private:
  std::shared_ptr<NetworkInformationSource::State> state_;
  uint32_t last_;
  std::function<void()> onChange_;
  std::unique_ptr<QObject> context_;  // its connection lives as long as it does
};

}  // namespace

std::shared_ptr<NetworkInformationSource> NetworkInformationSource::load() {
  if (!QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability)) return nullptr;
  return std::shared_ptr<NetworkInformationSource>(new NetworkInformationSource());
}

NetworkInformationSource::NetworkInformationSource()
    : state_(std::make_shared<State>()), context_(std::make_unique<QObject>()) {
  QNetworkInformation* information = QNetworkInformation::instance();
  state_->flags.store(flagsFor(information->reachability()));
  QObject::connect(information, &QNetworkInformation::reachabilityChanged, context_.get(),
                   [state = state_](QNetworkInformation::Reachability now) { state->flags.store(flagsFor(now)); });
}

NetworkInformationSource::~NetworkInformationSource() = default;

std::unique_ptr<ReachabilityTarget> NetworkInformationSource::targetForAddress(const Ipv4SocketAddress&) {
  return std::make_unique<InformationTarget>(state_);
}

std::unique_ptr<ReachabilityTarget> NetworkInformationSource::targetForHostName(const std::string&) {
  return std::make_unique<InformationTarget>(state_);
}

}  // namespace zelvo::qt
