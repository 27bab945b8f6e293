#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "zelvo/platform/log_sink.h"
#include "zelvo/platform/reachability_source.h"
#include "zelvo/portable/host_platform_options.h"

namespace zelvo::portable {

// The reachability source `options` ask for, by the rules every platform shares: kHost
// without a source falls back to the system's (logged, and kept as the configuration error
// unless there is one already); with kSystem, an endpoint on this machine
// (`loopbackEndpoint`) needs no route and counts as always reachable. `makeSystem` makes the
// operating system's own source.
std::shared_ptr<ReachabilitySource> chooseReachabilitySource(
    const HostPlatformOptions& options, bool loopbackEndpoint, LogSink& log,
    std::optional<std::string>& configurationError, const std::function<std::shared_ptr<ReachabilitySource>()>& makeSystem);

}  // namespace zelvo::portable
