#include "sim/sim_platform.h"

namespace zelvo::sim {

SimPlatform::SimPlatform(double start, const std::string& zoneName, uint64_t seed, RequestObserver onRequest)
    : TestingPlatform(start, zoneName), seededUuids_(seed), reporting_(http(), std::move(onRequest)) {}

}  // namespace zelvo::sim
