// What the tracker's heartbeat costs the host: a second that sends no ping, and a second that
// sends a regular ping, against one snprintf of a URL of the same length in the same run.
#include "baseline_ratio.h"
#include "snprintf_url.h"
#include "bench_world.h"

namespace zelvo {
namespace {

using bench::World;

std::size_t regularPingUrlLength() {
  World world(1);
  world.tracker->active(true);
  world.platform->advance(1.0);
  return world.platform->transport.lastUrlLength;
}

void BaselineSnprintfUrl(benchmark::State& state) {
  const std::string path = bench::pathForUrlLength(regularPingUrlLength());
  for (auto _ : state) {
    std::string url = bench::snprintfUrl(false, path);
    benchmark::DoNotOptimize(url);
  }
  state.counters["url_bytes"] = static_cast<double>(bench::snprintfUrl(false, path).size());
}
BENCHMARK(BaselineSnprintfUrl);

void HeartbeatSecondNoPing(benchmark::State& state) {
  World world(1u << 30);  // a period that never comes round
  for (auto _ : state) world.platform->advance(1.0);
}
BENCHMARK(HeartbeatSecondNoPing);

void HeartbeatSecondWithPing(benchmark::State& state) {
  World world(1);
  for (auto _ : state) {
    // An active reader keeps the period at one second, so every second pings.
    world.tracker->active(true);
    world.platform->advance(1.0);
  }
  state.counters["url_bytes"] = static_cast<double>(world.platform->transport.lastUrlLength);
}
BENCHMARK(HeartbeatSecondWithPing);

}  // namespace
}  // namespace zelvo

ZELVO_BENCHMARK_MAIN()
