// The heap a simulated week of reading leaves behind (virtual time, the transport answering at
// once and keeping nothing): the counter retained_bytes is what the heap holds after the week
// beyond what it held after its first hour, for one week and for two.
#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "baseline_ratio.h"
#include "bench_world.h"
#include "zelvo/application_events.h"

namespace {

// Live heap bytes of C++ allocations, as malloc sizes them.
std::atomic<long long> liveBytes{0};

}  // namespace

// The replaced global new and delete below are a matched malloc/free pair; GCC cannot tell
// once it inlines them into callers, so its mismatch warning is silenced for this file.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

void* operator new(std::size_t size) {
  if (void* p = std::malloc(size == 0 ? 1 : size)) {
    liveBytes.fetch_add(static_cast<long long>(malloc_usable_size(p)), std::memory_order_relaxed);
    return p;
  }
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
  if (p == nullptr) return;
  liveBytes.fetch_sub(static_cast<long long>(malloc_usable_size(p)), std::memory_order_relaxed);
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept { operator delete(p); }

namespace zelvo {
namespace {

using bench::World;

// Reading for `hours`: a new view every ten minutes, a trip to the background of five
// minutes every hour.
void read(World& world, int hours) {
  for (int hour = 0; hour < hours; ++hour) {
    for (int view = 0; view < 6; ++view) {
      world.tracker->trackView(world.article, "/news/story-" + std::to_string(view), std::string("Story"));
      world.platform->advance(view == 5 ? 300.0 : 600.0);
    }
    postApplicationEvent(*world.platform, ApplicationEvent::kWillResignActive);
    world.platform->advance(300.0);
    postApplicationEvent(*world.platform, ApplicationEvent::kDidBecomeActive);
    world.platform->executor().runAll();  // the configuration fetch of the return
  }
}

// The heap the week keeps beyond its first hour; the argument is the number of weeks.
void WeekOfPings(benchmark::State& state) {
  long long retained = 0;
  for (auto _ : state) {
    World world(5);
    read(world, 1);
    const long long afterFirstHour = liveBytes.load();
    read(world, static_cast<int>(state.range(0)) * 7 * 24 - 1);
    retained = liveBytes.load() - afterFirstHour;
  }
  state.counters["retained_bytes"] = static_cast<double>(retained);
}
BENCHMARK(WeekOfPings)->Arg(1)->Arg(2)->Arg(3)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zelvo

ZELVO_BENCHMARK_MAIN()
