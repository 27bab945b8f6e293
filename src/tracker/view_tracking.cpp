#include "common/concat.h"
#include "common/format.h"
#include "tracker/main_thread.h"
#include "tracker/tracker_internal.h"

namespace zelvo {
namespace {

std::string describeView(const std::shared_ptr<View>& view) {
  return view ? formatPosix("<View: %p>", static_cast<const void*>(view.get())) : std::string("(null)");
}

}  // namespace

bool ZVTracker::trackView(std::shared_ptr<View> view, std::optional<std::string> viewId,
                          std::optional<std::string> title) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::trackView, view, viewId, title)) {
    return true;
  }
  Internal& in = *internal_;
  // Not needed on the main thread, but it keeps a stop from another thread from interleaving.
  std::lock_guard lock(in.monitor);
  // A stopped tracker restarts with the short form, so the application identifier becomes
  // the platform's, whatever the host gave before.
  if (in.status == 1) startTrackerWithAccountID(in.uid);

  if (view && viewId && view == in.view && in.page.viewId && *viewId == *in.page.viewId) {
    in.gate->standard([] { return std::string("[ZV]:Track view called on the previous view again. Skipping."); });
    return false;
  }
  setView(std::move(view));
  in.gate->standard([&] { return concat({"[ZV]:trackview new view ", describeView(in.view), ", cur view ", describeView(in.view)}); });
  in.gate->standard([&] { return concat({"[ZV]:trackView: ", describe(viewId), " title:", describe(title)}); });
  in.schedule.beginView();
  setViewId(std::move(viewId));
  setTitle(std::move(title));
  setFirstPing(true);
  in.measurement.resetMaxScrollLocation();
  in.identity.rotateSessionToken();
  in.siteVisit.trackSiteVisit(in.page.appReferrer);
  in.viewAwaitedConsent = in.collection->awaitingConsent();
  in.engagement.resetEngagementMetrics();
  // The new view counts as an engagement event, so its first ping reports reading or writing.
  registeredUserEngagementEvent();
  in.tick();
  return true;
}

}  // namespace zelvo
