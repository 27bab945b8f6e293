#pragma once

#include <memory>

#include "zelvo/platform/reachability_source.h"

class QObject;

namespace zelvo::qt {

// Reachability from QNetworkInformation: every target is reachable unless Qt's backend
// reports the system disconnected or on a local network only (no route out); a backend that
// cannot tell counts as reachable. Changes arrive on the Qt thread, the library's main thread.
// Thread: targets' flags() from any thread; everything else on the main thread.
class NetworkInformationSource : public ReachabilitySource {
 public:
  // Loads Qt's reachability backend (NetworkManager, GLib's network monitor) and makes the
  // source; nothing when this system has no such backend. Thread: the Qt thread, once the
  // application object exists.
  static std::shared_ptr<NetworkInformationSource> load();
  ~NetworkInformationSource() override;

  std::unique_ptr<ReachabilityTarget> targetForAddress(const Ipv4SocketAddress& address) override;
  std::unique_ptr<ReachabilityTarget> targetForHostName(const std::string& hostName) override;

  struct State;

 private:
  NetworkInformationSource();
  std::shared_ptr<State> state_;
  std::unique_ptr<QObject> context_;  // holds the connection that keeps the flags current
};

}  // namespace zelvo::qt
