#include "zelvo/platform/event_dispatch.h"

namespace zelvo {

void EventDispatch::setApplicationHandler(std::function<void(const Event&)> handler) {
  applicationHandler_ = std::move(handler);
}

void EventDispatch::setHook(Hook hook, void* context, EventTypeSet types) {
  // The context is published before the hook, so a dispatch that sees the hook sees its context.
  hookContext_.store(context, std::memory_order_relaxed);
  hookTypes_.store(types, std::memory_order_relaxed);
  hook_.store(hook, std::memory_order_release);
}

}  // namespace zelvo
