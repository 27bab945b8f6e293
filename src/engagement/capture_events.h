#pragma once

namespace zelvo {

// Posted by the touch hook for every touch event, observed by the tracker.
inline constexpr const char* kTouchEventNotification = "__zv__TouchEventNotification";

}  // namespace zelvo
