#include "platform/portable/reachability_choice.h"

#include "zelvo/portable/always_reachable_source.h"

namespace zelvo::portable {

std::shared_ptr<ReachabilitySource> chooseReachabilitySource(
    const HostPlatformOptions& options, bool loopbackEndpoint, LogSink& log,
    std::optional<std::string>& configurationError, const std::function<std::shared_ptr<ReachabilitySource>()>& makeSystem) {
  ReachabilityChoice choice = options.reachability;
  if (choice == ReachabilityChoice::kHost && !options.reachabilitySource) {
    const std::string why = "reachability kHost was chosen without a reachabilitySource; using the system's";
    log.write(LogSeverity::kError, "[ZV]:" + why);
    if (!configurationError) configurationError = why;
    choice = ReachabilityChoice::kSystem;
  }
  // A server on this machine needs no route: asking the system would hold every ping back on
  // a machine without a default route.
  if (choice == ReachabilityChoice::kSystem && loopbackEndpoint && !configurationError) {
    choice = ReachabilityChoice::kAlwaysReachable;
  }
  switch (choice) {
    case ReachabilityChoice::kHost:
      return options.reachabilitySource;
    case ReachabilityChoice::kAlwaysReachable:
      return std::make_shared<AlwaysReachableSource>();
    case ReachabilityChoice::kSystem:
      break;
  }
  return makeSystem();
}

}  // namespace zelvo::portable
