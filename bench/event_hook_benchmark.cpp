// What the touch hook costs the host's event dispatch: the hooked dispatch against the bare one,
// for non-touch and touch events, with heap allocations counted per event.
#include <atomic>
#include <cstdlib>
#include <new>

#include "baseline_ratio.h"
#include "zelvo/testing/testing_platform.h"
#include "zelvo/zv_capture_events.h"
#include "zelvo/zv_tracker.h"

namespace {

std::atomic<long> allocations{0};

}  // namespace

// The replaced global new and delete below are a matched malloc/free pair; GCC cannot tell
// once it inlines them into callers, so its mismatch warning is silenced for this file.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

void* operator new(std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace zelvo {
namespace {

// The host's own handling of an event: a counter, so the compiler cannot drop the call.
struct Host {
  long handled = 0;
};

void dispatchLoop(benchmark::State& state, EventDispatch& dispatch, EventType type) {
  const Event event{type};
  const long before = allocations.load();
  for (auto _ : state) dispatch.sendEvent(event);
  state.counters["allocs_per_event"] =
      benchmark::Counter(static_cast<double>(allocations.load() - before), benchmark::Counter::kAvgIterations);
}

void BaselineBareDispatch(benchmark::State& state) {
  Host host;
  EventDispatch dispatch;
  dispatch.setApplicationHandler([&host](const Event&) { benchmark::DoNotOptimize(++host.handled); });
  dispatchLoop(state, dispatch, EventType::kMotion);
}
BENCHMARK(BaselineBareDispatch);

// The hooked dispatch of a tracker's world: the application's handler, then the touch hook,
// and for touches the tracker's grant behind the notification.
void hookedLoop(benchmark::State& state, EventType type) {
  Host host;
  auto platform = std::make_shared<testing::TestingPlatform>();
  auto tracker = ZVTracker::create(platform);
  EventDispatch& dispatch = platform->eventDispatch();
  dispatch.setApplicationHandler([&host](const Event&) { benchmark::DoNotOptimize(++host.handled); });
  ZVCaptureEvents::initializeEventsCapturing(*platform);
  dispatchLoop(state, dispatch, type);
}

void HookedDispatchNonTouch(benchmark::State& state) { hookedLoop(state, EventType::kMotion); }
BENCHMARK(HookedDispatchNonTouch);

void HookedDispatchTouch(benchmark::State& state) { hookedLoop(state, EventType::kTouches); }
BENCHMARK(HookedDispatchTouch);

}  // namespace
}  // namespace zelvo

ZELVO_BENCHMARK_MAIN()
