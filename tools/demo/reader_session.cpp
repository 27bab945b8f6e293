#include "demo/reader_session.h"

#include <chrono>
#include <cstdio>
#include <thread>

#include "zelvo/application_events.h"
#include "zelvo/constants.h"

namespace zelvo::demo {
namespace {

// A reader window on a desktop, in points.
constexpr Size kWindow{1280, 800};
constexpr auto kArrivalLimit = std::chrono::seconds(5);
constexpr auto kArrivalPoll = std::chrono::milliseconds(5);

}  // namespace

ReaderSession::ReaderSession(std::shared_ptr<DemoPlatform> platform, collector::CollectorServer& collector,
                             Console& console)
    : platform_(std::move(platform)), collector_(collector), console_(console) {
  platform_->notificationCenter().addObserver(this, kZVWillSendPingRequestNotification,
                                              [this](const Notification&) { ++pingsSent_; });
  onMain([this] { tracker_ = ZVTracker::create(platform_); });
}

ReaderSession::~ReaderSession() {
  // The tracker invalidates its heartbeat on the main thread, where the heartbeat runs.
  onMain([this] { tracker_.reset(); });
  platform_->notificationCenter().removeObserver(this);
}

void ReaderSession::onMain(std::function<void()> task) { platform_->mainRunLoop().runAndWait(std::move(task)); }

void ReaderSession::input(int events) {
  onMain([this, events] {
    for (int i = 0; i < events; ++i) {
      platform_->eventDispatch().sendEvent(Event{EventType::kTouches, 0, platform_->clock().now()});
    }
  });
}

void ReaderSession::scrollTo(const std::shared_ptr<SimpleScrollView>& view, double offset) {
  input(3);  // three notches of the mouse wheel
  onMain([view, offset] { view->setContentOffset({0, offset}); });
}

bool ReaderSession::waitForPingsToArrive() {
  const auto deadline = std::chrono::steady_clock::now() + kArrivalLimit;
  while (collector_.pingCount() < pingsSent_) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(kArrivalPoll);
  }
  return true;
}

bool ReaderSession::trackViewAnsweredOverCapacity(const std::string& path, const std::string& title) {
  const auto deadline = std::chrono::steady_clock::now() + kArrivalLimit;
  bool tracked = false;
  while (!tracked && std::chrono::steady_clock::now() < deadline) {
    // On the main thread no heartbeat ping can leave meanwhile: once every ping sent has
    // arrived, the view's first ping is the next one the collector sees.
    onMain([&] {
      if (collector_.pingCount() != pingsSent_) return;
      outcome_.overCapacityPing = pingsSent_ + 1;
      collector_.answerPing(outcome_.overCapacityPing, 503);
      tracker_->trackView(std::make_shared<SimpleView>(kWindow), path, title);
      tracked = true;
    });
    if (!tracked) std::this_thread::sleep_for(kArrivalPoll);
  }
  return tracked;
}

std::vector<ReaderSession::Step> ReaderSession::script() {
  auto front = std::make_shared<SimpleScrollView>(kWindow, Size{1280, 3200});
  auto article = std::make_shared<SimpleScrollView>(kWindow, Size{1280, 6400});
  auto comments = std::make_shared<SimpleView>(kWindow);
  auto longRead = std::make_shared<SimpleScrollView>(kWindow, Size{1280, 12000});
  const auto track = [this](std::shared_ptr<View> view, const std::string& path, const std::string& title) {
    onMain([=, this] { tracker_->trackView(view, path, title); });
    outcome_.viewsWithPings.push_back(path);
  };

  std::vector<Step> steps;
  steps.push_back({0, "The reader opens the reader window from a desktop notification, on the front page", [=, this] {
                     onMain([this] {
                       tracker_->startTrackerWithAccountID(40521, std::string("com.example.reader"));
                       tracker_->setDomain(std::string("reader.example.com"));
                       tracker_->setPushReferrer(std::string("morning-briefing"));
                       tracker_->setSections(std::vector<std::string>{"News", "Front page"});
                       tracker_->setLocation(Location{52.520008, 13.404954});
                     });
                     track(front, "/", "Front page");
                   }});
  steps.push_back({1, "agrees in the consent bar: until now the library kept and sent nothing, from now on it measures",
                   [this] { onMain([this] { tracker_->giveConsent(); }); }});
  for (int i = 1; i <= 4; ++i) {
    const double offset = 550.0 * i;
    steps.push_back({3.0 * i, "turns the mouse wheel: the front page scrolls to " + std::to_string(static_cast<int>(offset)) + " pt",
                     [=, this] { scrollTo(front, offset); }});
  }
  steps.push_back({20, "Opens an article",
                   [=] { track(article, "/news/2026/03/tram-line-vote", "Council votes on the new tram line"); }});
  for (int i = 1; i <= 8; ++i) {
    const double offset = 700.0 * i;
    steps.push_back({20 + 3.0 * i, "reads on, wheel and arrow keys, down to " + std::to_string(static_cast<int>(offset)) + " pt",
                     [=, this] { scrollTo(article, offset); }});
  }
  steps.push_back({48, "Opens the comments and clicks into the reply box: typing now counts as writing", [=, this] {
                     track(comments, "/news/2026/03/tram-line-vote/comments", "Comments");
                     postApplicationEvent(*platform_, ApplicationEvent::kKeyboardDidShow);
                   }});
  for (int i = 1; i <= 5; ++i) {
    steps.push_back({48 + 3.0 * i, "types a comment", [this] { input(2); }});
  }
  steps.push_back({64, "sends it; the focus leaves the reply box",
                   [this] { postApplicationEvent(*platform_, ApplicationEvent::kKeyboardWillHide); }});
  steps.push_back({66, "Opens the long read and scrolls a little", [=, this] {
                     track(longRead, "/features/the-long-read", "The long read");
                     scrollTo(longRead, 900);
                   }});
  steps.push_back({70, "takes the hands off mouse and keyboard: the host reports the reader inactive (pings slow down: 15, 30, 60 s)",
                   [this] { onMain([this] { tracker_->active(false); }); }});
  steps.push_back({180, "Switches to another window (the reader window is no longer active): the heartbeat pauses",
                   [this] { postApplicationEvent(*platform_, ApplicationEvent::kWillResignActive); }});
  steps.push_back({210, "Comes back to the reader window (active again): the next ping is a full one",
                   [this] { postApplicationEvent(*platform_, ApplicationEvent::kDidBecomeActive); }});
  steps.push_back({235, "Opens the sports page; the collector answers its ping 503 (over capacity)", [this] {
                     if (trackViewAnsweredOverCapacity("/sports", "Sports")) outcome_.viewsWithPings.push_back("/sports");
                   }});
  steps.push_back({245, "Opens the weather page: the library is locked out for 600 s, no ping goes", [=, this] {
                     onMain([this] {
                       tracker_->trackView(std::make_shared<SimpleView>(kWindow), std::string("/weather"),
                                           std::string("Weather"));
                     });
                     outcome_.lockedOutView = "/weather";
                   }});
  steps.push_back({262, "The reader closes the window", [this] { onMain([this] { tracker_->stopTracker(); }); }});
  return steps;
}

SessionOutcome ReaderSession::run() {
  ScaledClock& clock = platform_->scaledClock();
  const double start = clock.now();
  for (const Step& step : script()) {
    std::this_thread::sleep_for(clock.realTimeUntil(start + step.at));
    char stamp[16];
    std::snprintf(stamp, sizeof stamp, "[%4.0fs] ", clock.now() - start);
    console_.line(stamp + step.narration);
    step.action();
  }
  outcome_.completed = waitForPingsToArrive();
  outcome_.pingsSent = pingsSent_;
  return outcome_;
}

}  // namespace zelvo::demo
