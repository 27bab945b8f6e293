#include "common/format.h"
#include "tracker/main_thread.h"
#include "tracker/tracker_internal.h"
#include "zelvo/constants.h"
#include "zelvo/zv_capture_events.h"

namespace zelvo {

std::string userAgentForModel(const std::string& model) {
  // Both placeholders of the template take the model name.
  std::string text = kZVIosUserAgent;
  const std::string placeholder = "%@";
  for (size_t at = text.find(placeholder); at != std::string::npos; at = text.find(placeholder, at + model.size())) {
    text.replace(at, placeholder.size(), model);
  }
  return text;
}

bool ZVTracker::setupTrackerWithAccountId(uint32_t accountId, std::optional<std::string> domain) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setupTrackerWithAccountId,
                         accountId, domain)) {
    return true;
  }
  internal_->page.domain = std::move(domain);
  return startTrackerWithAccountID(accountId, internal_->platform->deviceInfo().applicationIdentifier());
}

bool ZVTracker::startTrackerWithAccountID(uint32_t accountId) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this,
                         [accountId](ZVTracker& tracker) { tracker.startTrackerWithAccountID(accountId); })) {
    return true;
  }
  return startTrackerWithAccountID(accountId, internal_->platform->deviceInfo().applicationIdentifier());
}

bool ZVTracker::startTrackerWithAccountID(uint32_t accountId, std::optional<std::string> appid) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, [accountId, appid](ZVTracker& tracker) {
        tracker.startTrackerWithAccountID(accountId, appid);
      })) {
    return true;
  }
  Internal& in = *internal_;
  Platform& platform = *in.platform;
  const double t0 = platform.clock().nowSince1970();
  in.gate->standard([&] {
    return formatPosix("[ZV]:startTrackerWithAccountID: %d appid:", asSigned32(accountId)) + describe(appid);
  });
  in.uid = accountId;
  setAppid(std::move(appid));

  in.schedule.start();
  in.page.userAgent = userAgentForModel(platform.deviceInfo().modelName());

  // Every start makes a new ping object: its lock-out and referrer state go with the old one.
  auto ping = std::make_shared<ZVPing>(in.pingServices(), in.gate, in.pingStatus);
  ping->setUsePong(in.ping->usePong());
  in.ping = std::move(ping);

  if (in.schedule.startHeartbeat()) in.subscribeToNotifications();

  // Awaiting consent, the reader gets no token yet: giving consent makes it.
  if (!in.collection->awaitingConsent()) in.identity.restoreUserToken();
  in.status = 2;

  // The hook goes into the application's event dispatch once: installing it twice would
  // announce every touch twice.
  std::call_once(platform.eventDispatch().hookInstallation(),
                 [&platform] { ZVCaptureEvents::initializeEventsCapturing(platform); });

  in.initializationTime = (platform.clock().nowSince1970() - t0) * 1000.0;
  return true;
}

}  // namespace zelvo
