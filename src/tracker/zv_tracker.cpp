#include <cstring>

#include "engagement/capture_events.h"
#include "tracker/main_thread.h"
#include "tracker/tracker_internal.h"
#include "zelvo/application_events.h"
#include "zelvo/constants.h"

namespace zelvo {

ZVTracker::Internal::Internal(ZVTracker& owner, std::shared_ptr<Platform> p)
    : self(owner),
      collection(std::make_shared<CollectionGate>(std::move(p))),
      platform(collection),
      gate(std::make_shared<LogGate>(platform->logSink())), schedule(platform->mainRunLoop(), [this] { dwellTick(); }),
      engagement(*platform, monitor),
      measurement(platform->screen()),
      identity(*platform, *gate),
      siteVisit(*platform, *gate),
      pingStatus(std::make_shared<PingStatus>(platform->mainRunLoop())) {}

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
  // Awaiting consent, this opening is recorded when the reader agrees.
  if (!collection->awaitingConsent()) identity.updateUserReturnFrequency();
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

void ZVTracker::setUserPaid() {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setUserPaid)) return;
  internal_->subscriptionState = "paid";
}
void ZVTracker::setUserAnonymous() {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setUserAnonymous)) return;
  internal_->subscriptionState = "anon";
}
void ZVTracker::setUserLoggedIn() {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setUserLoggedIn)) return;
  internal_->subscriptionState = "lgdin";
}

void ZVTracker::setPushReferrer(std::optional<std::string> pushId) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setPushReferrer, pushId)) return;
  internal_->appReferrer = "push/?id=" + ZVPing::urlEncode(pushId);
}

void ZVTracker::setUsePong(bool usePong) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setUsePong, usePong)) return;
  internal_->usePong = usePong;
  if (internal_->ping) internal_->ping->setUsePong(usePong);
}

// Deliberately the session token: a host that sets a user token replaces the current session
// token until the next view rotates it, while the persistent user token stays.
void ZVTracker::setUserToken(std::optional<std::string> token) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setUserToken, token)) return;
  internal_->identity.setSessionToken(std::move(token));
}

void ZVTracker::registeredUserEngagementEvent() {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::registeredUserEngagementEvent)) return;
  internal_->engagement.registeredUserEngagementEvent();
}
void ZVTracker::userEngaged(bool typing) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::userEngaged, typing)) return;
  internal_->engagement.userEngaged(typing);
}

void ZVTracker::active(bool isActive) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::active, isActive)) return;
  internal_->schedule.active(isActive);
}
void ZVTracker::updateUserReturnFrequency() {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::updateUserReturnFrequency)) return;
  internal_->identity.updateUserReturnFrequency();
}
void ZVTracker::setDebugMode(bool debugMode) { internal_->gate->setDebugMode(debugMode); }
void ZVTracker::setLogLevel(uint64_t logLevel) { internal_->gate->setLogLevel(logLevel); }
void ZVTracker::setStatus(uint64_t status) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setStatus, status)) return;
  internal_->status = status;
}

// Plain setters.

void ZVTracker::setSections(StringList sections) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setSections, sections)) return;
  internal_->sections = std::move(sections);
}
void ZVTracker::setAuthors(StringList authors) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setAuthors, authors)) return;
  internal_->authors = std::move(authors);
}
void ZVTracker::setZones(StringList zones) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setZones, zones)) return;
  internal_->zones = std::move(zones);
}
void ZVTracker::setDomain(std::optional<std::string> domain) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setDomain, domain)) return;
  internal_->domain = std::move(domain);
}
void ZVTracker::setSubDomain(std::optional<std::string> subDomain) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setSubDomain, subDomain)) return;
  internal_->subDomain = std::move(subDomain);
}
void ZVTracker::setAppReferrer(std::optional<std::string> referrer) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setAppReferrer, referrer)) return;
  internal_->appReferrer = std::move(referrer);
}
void ZVTracker::setLocation(std::optional<Location> location) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setLocation, location)) return;
  internal_->location = location;
}
void ZVTracker::setIdSync(std::optional<Value> idSync) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setIdSync, idSync)) return;
  internal_->idSync = std::move(idSync);
}
void ZVTracker::setAppid(std::optional<std::string> appid) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setAppid, appid)) return;
  internal_->appid = std::move(appid);
}
void ZVTracker::setSuffix(std::optional<std::string> suffix) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setSuffix, suffix)) return;
  internal_->suffix = std::move(suffix);
}
void ZVTracker::setView(std::shared_ptr<View> view) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setView, view)) return;
  internal_->view = std::move(view);
}
void ZVTracker::setViewId(std::optional<std::string> viewId) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setViewId, viewId)) return;
  internal_->viewId = std::move(viewId);
}
void ZVTracker::setTitle(std::optional<std::string> title) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setTitle, title)) return;
  internal_->title = std::move(title);
}
void ZVTracker::setPreviousSessionToken(std::optional<std::string> token) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setPreviousSessionToken, token)) return;
  internal_->identity.setPreviousSessionToken(std::move(token));
}
void ZVTracker::setUserAgent(std::optional<std::string> userAgent) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setUserAgent, userAgent)) return;
  internal_->userAgent = std::move(userAgent);
}
void ZVTracker::setExtraParams(std::optional<Value> extraParams) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setExtraParams, extraParams)) return;
  internal_->extraParams = std::move(extraParams);
}
void ZVTracker::setFirstPing(bool firstPing) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setFirstPing, firstPing)) return;
  internal_->firstPing = firstPing;
}

// Getters.

bool ZVTracker::firstPing() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->firstPing; });
}
bool ZVTracker::debugMode() const { return internal_->gate->debugMode(); }
bool ZVTracker::usePong() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->usePong; });
}
uint32_t ZVTracker::uid() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->uid; });
}
uint64_t ZVTracker::status() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->status; });
}
std::optional<std::string> ZVTracker::appid() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->appid; });
}
std::optional<std::string> ZVTracker::suffix() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->suffix; });
}
std::shared_ptr<View> ZVTracker::view() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->view; });
}
std::optional<std::string> ZVTracker::viewId() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->viewId; });
}
std::optional<std::string> ZVTracker::title() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->title; });
}
ZVTracker::StringList ZVTracker::sections() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->sections; });
}
ZVTracker::StringList ZVTracker::authors() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->authors; });
}
ZVTracker::StringList ZVTracker::zones() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->zones; });
}
std::optional<std::string> ZVTracker::userToken() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->identity.userToken(); });
}
std::optional<std::string> ZVTracker::sessionToken() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->identity.sessionToken(); });
}
std::optional<std::string> ZVTracker::previousSessionToken() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->identity.previousSessionToken(); });
}
std::optional<std::string> ZVTracker::appReferrer() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->appReferrer; });
}
std::optional<std::string> ZVTracker::domain() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->domain; });
}
std::optional<std::string> ZVTracker::subDomain() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->subDomain; });
}
std::optional<std::string> ZVTracker::userAgent() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->userAgent; });
}
std::optional<Value> ZVTracker::extraParams() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->extraParams; });
}
std::optional<Value> ZVTracker::idSync() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->idSync; });
}
double ZVTracker::initializationTime() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->initializationTime; });
}
uint64_t ZVTracker::logLevel() const { return internal_->gate->logLevel(); }

}  // namespace zelvo
