#pragma once

#include <memory>

#include "zelvo/platform/view.h"
#include "zelvo/portable/host_platform.h"
#include "zelvo/zelvo.h"
#include "zelvo/zv_status.h"
#include "zelvo/zv_tracker.h"

// What the C API's opaque handles hold: a reference to the C++ object and nothing of their
// own, so that a handle is as thread-safe as the object behind it.

struct zelvo_options {
  zelvo::portable::HostPlatformOptions options;
  // The host's transport: each platform made from these options gets a client of its own.
  zelvo_http_handler httpHandler = nullptr;
  void* httpHandlerData = nullptr;
};

struct zelvo_platform {
  std::shared_ptr<zelvo::portable::HostPlatform> platform;
};

struct zelvo_view {
  std::shared_ptr<zelvo::SimpleView> view;
  // The same object when the view scrolls, else null.
  std::shared_ptr<zelvo::SimpleScrollView> scrollView;
};

struct zelvo_tracker {
  std::shared_ptr<zelvo::ZVTracker> tracker;
  // The platform it runs on, for the application and input events.
  std::shared_ptr<zelvo::Platform> platform;
};

struct zelvo_status {
  zelvo::ZVStatus status;
};
