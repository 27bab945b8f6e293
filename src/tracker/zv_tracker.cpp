#include <cstring>

#include "engagement/capture_events.h"
#include "tracker/tracker_internal.h"
#include "zelvo/application_events.h"
#include "zelvo/constants.h"

namespace zelvo {

ZVTracker::Internal::Internal(ZVTracker& owner, std::shared_ptr<Platform> p)
    : self(owner), platform(std::move(p)), gate(std::make_shared<LogGate>(platform->logSink())), schedule(platform->mainRunLoop(), [this] { dwellTick(); }),
      engagement(*platform, monitor),
      measurement(platform->screen()),
      identity(*platform, *gate),
      siteVisit(*platform, *gate) {}

std::shared_ptr<ZVTracker> ZVTracker::create(std::shared_ptr<Platform> platform) {
  std::shared_ptr<ZVTracker> tracker(new ZVTracker(std::move(platform)));
  tracker->internal_->init();
  return tracker;
}

ZVTracker::ZVTracker(std::shared_ptr<Platform> platform)
    : internal_(std::make_unique<Internal>(*this, std::move(platform))) {}

ZVTracker::~ZVTracker() {
  Internal& in = *internal_;
  in.platform->notificationCenter().removeObserver(this);
  in.schedule.invalidateHeartbeat();
}

void ZVTracker::Internal::init() {
  reachability = ZVReachability::reachabilityForInternetConnection(*platform);
  identity.updateUserReturnFrequency();
  engagement.loadEngagementWindow();

  NotificationCenter& center = platform->notificationCenter();
  center.addObserver(&self, kTouchEventNotification, [this](const Notification&) { self.registeredUserEngagementEvent(); });
  center.addObserver(&self, kKeyboardDidShowNotification, [this](const Notification&) { engagement.keyboardDidShow(); });
  center.addObserver(&self, kKeyboardWillHideNotification, [this](const Notification&) { engagement.keyboardWillHide(); });
}

std::shared_ptr<ZelvoConfig> ZVTracker::Internal::configuration() {
  std::lock_guard lock(configurationMutex_);
  if (!configuration_) {
    configuration_ = std::make_shared<ZelvoConfig>(platform, gate);
    gate->standard([] { return std::string("[ZV]:Initialized Zelvo Config Fetcher"); });
  }
  return configuration_;
}

std::string userAgentForModel(const std::string& model) {
  // Both placeholders of the template take the model name.
  std::string text = kZVIosUserAgent;
  const std::string placeholder = "%@";
  for (size_t at = text.find(placeholder); at != std::string::npos; at = text.find(placeholder, at + model.size())) {
    text.replace(at, placeholder.size(), model);
  }
  return text;
}

// Setters that do more than store.

void ZVTracker::setUserPaid() { internal_->subscriptionState = "paid"; }
void ZVTracker::setUserAnonymous() { internal_->subscriptionState = "anon"; }
void ZVTracker::setUserLoggedIn() { internal_->subscriptionState = "lgdin"; }

void ZVTracker::setPushReferrer(std::optional<std::string> pushId) {
  internal_->appReferrer = "push/?id=" + ZVPing::urlEncode(pushId);
}

void ZVTracker::setUsePong(bool usePong) {
  internal_->usePong = usePong;
  if (internal_->ping) internal_->ping->setUsePong(usePong);
}

// Deliberately the session token: a host that sets a user token replaces the current session
// token until the next view rotates it, while the persistent user token stays.
void ZVTracker::setUserToken(std::optional<std::string> token) { internal_->identity.setSessionToken(std::move(token)); }

void ZVTracker::registeredUserEngagementEvent() { internal_->engagement.registeredUserEngagementEvent(); }
void ZVTracker::userEngaged(bool typing) { internal_->engagement.userEngaged(typing); }

void ZVTracker::active(bool isActive) { internal_->schedule.active(isActive); }
void ZVTracker::updateUserReturnFrequency() { internal_->identity.updateUserReturnFrequency(); }
void ZVTracker::setDebugMode(bool debugMode) { internal_->gate->setDebugMode(debugMode); }
void ZVTracker::setLogLevel(uint64_t logLevel) { internal_->gate->setLogLevel(logLevel); }
void ZVTracker::setStatus(uint64_t status) { internal_->status = status; }

// Plain setters.

void ZVTracker::setSections(StringList sections) { internal_->sections = std::move(sections); }
void ZVTracker::setAuthors(StringList authors) { internal_->authors = std::move(authors); }
void ZVTracker::setZones(StringList zones) { internal_->zones = std::move(zones); }
void ZVTracker::setDomain(std::optional<std::string> domain) { internal_->domain = std::move(domain); }
void ZVTracker::setSubDomain(std::optional<std::string> subDomain) { internal_->subDomain = std::move(subDomain); }
void ZVTracker::setAppReferrer(std::optional<std::string> referrer) { internal_->appReferrer = std::move(referrer); }
void ZVTracker::setLocation(std::optional<Location> location) { internal_->location = location; }
void ZVTracker::setIdSync(std::optional<Value> idSync) { internal_->idSync = std::move(idSync); }
void ZVTracker::setAppid(std::optional<std::string> appid) { internal_->appid = std::move(appid); }
void ZVTracker::setSuffix(std::optional<std::string> suffix) { internal_->suffix = std::move(suffix); }
void ZVTracker::setView(std::shared_ptr<View> view) { internal_->view = std::move(view); }
void ZVTracker::setViewId(std::optional<std::string> viewId) { internal_->viewId = std::move(viewId); }
void ZVTracker::setTitle(std::optional<std::string> title) { internal_->title = std::move(title); }
void ZVTracker::setPreviousSessionToken(std::optional<std::string> token) {
  internal_->identity.setPreviousSessionToken(std::move(token));
}
void ZVTracker::setUserAgent(std::optional<std::string> userAgent) { internal_->userAgent = std::move(userAgent); }
void ZVTracker::setExtraParams(std::optional<Value> extraParams) { internal_->extraParams = std::move(extraParams); }
void ZVTracker::setFirstPing(bool firstPing) { internal_->firstPing = firstPing; }

// Getters.

bool ZVTracker::firstPing() const { return internal_->firstPing; }
bool ZVTracker::debugMode() const { return internal_->gate->debugMode(); }
bool ZVTracker::usePong() const { return internal_->usePong; }
uint32_t ZVTracker::uid() const { return internal_->uid; }
uint64_t ZVTracker::status() const { return internal_->status; }
const std::optional<std::string>& ZVTracker::appid() const { return internal_->appid; }
const std::optional<std::string>& ZVTracker::suffix() const { return internal_->suffix; }
const std::shared_ptr<View>& ZVTracker::view() const { return internal_->view; }
const std::optional<std::string>& ZVTracker::viewId() const { return internal_->viewId; }
const std::optional<std::string>& ZVTracker::title() const { return internal_->title; }
const ZVTracker::StringList& ZVTracker::sections() const { return internal_->sections; }
const ZVTracker::StringList& ZVTracker::authors() const { return internal_->authors; }
const ZVTracker::StringList& ZVTracker::zones() const { return internal_->zones; }
const std::optional<std::string>& ZVTracker::userToken() const { return internal_->identity.userToken(); }
const std::optional<std::string>& ZVTracker::sessionToken() const { return internal_->identity.sessionToken(); }
const std::optional<std::string>& ZVTracker::previousSessionToken() const { return internal_->identity.previousSessionToken(); }
const std::optional<std::string>& ZVTracker::appReferrer() const { return internal_->appReferrer; }
const std::optional<std::string>& ZVTracker::domain() const { return internal_->domain; }
const std::optional<std::string>& ZVTracker::subDomain() const { return internal_->subDomain; }
const std::optional<std::string>& ZVTracker::userAgent() const { return internal_->userAgent; }
const std::optional<Value>& ZVTracker::extraParams() const { return internal_->extraParams; }
const std::optional<Value>& ZVTracker::idSync() const { return internal_->idSync; }
double ZVTracker::initializationTime() const { return internal_->initializationTime; }
uint64_t ZVTracker::logLevel() const { return internal_->gate->logLevel(); }

}  // namespace zelvo
