#pragma once

#include <memory>

#include "zelvo/platform/calendar.h"
#include "zelvo/platform/clock.h"
#include "zelvo/platform/device_info.h"
#include "zelvo/platform/event_dispatch.h"
#include "zelvo/platform/http_client.h"
#include "zelvo/platform/key_value_store.h"
#include "zelvo/platform/log_sink.h"
#include "zelvo/platform/notification_center.h"
#include "zelvo/platform/reachability_source.h"
#include "zelvo/platform/run_loop.h"
#include "zelvo/platform/screen.h"
#include "zelvo/platform/uuid_source.h"
#include "zelvo/export.h"

namespace zelvo {

// Every platform service the library uses, in one object. A tracker is built on one
// platform and holds it for its life. The services live as long as the platform.
// Thread: the accessors are safe from any thread.
class ZELVO_EXPORT Platform {
 public:
  virtual ~Platform() = default;
  virtual Clock& clock() = 0;
  virtual Calendar& calendar() = 0;
  virtual RunLoop& mainRunLoop() = 0;
  virtual Executor& backgroundExecutor() = 0;
  virtual NotificationCenter& notificationCenter() = 0;
  // The application's preferences, or nullptr where there are none (nothing is then kept).
  virtual KeyValueStore* store() = 0;
  virtual HttpClient& httpClient() = 0;
  virtual ReachabilitySource& reachabilitySource() = 0;
  virtual UuidSource& uuidSource() = 0;
  virtual DeviceInfo& deviceInfo() = 0;
  virtual Screen& screen() = 0;
  virtual EventDispatch& eventDispatch() = 0;
  virtual LogSink& logSink() = 0;
  // The host's policy: when true, a tracker on this platform stores and sends nothing until
  // the reader has agreed (ZVTracker::giveConsent()). Known before any tracker exists, since
  // a tracker records the application's opening when it is made.
  virtual bool consentRequired() const { return false; }
};

}  // namespace zelvo
