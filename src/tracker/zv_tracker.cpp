#include <cstring>

#include "common/value_bound.h"
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
      engagement(platform->store()),
      measurement(platform->screen()),
      identity(platform->store(), platform->clock(), platform->calendar(), platform->uuidSource(), *gate),
      siteVisit(platform->store(), platform->clock(), platform->uuidSource(), *gate),
      pingStatus(std::make_shared<PingStatus>(platform->mainRunLoop())),
      ping(std::make_shared<ZVPing>(pingServices(), gate, pingStatus)) {}

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
  if (!collection->awaitingConsent()) identity.updateUserReturnFrequency();  // else when the reader agrees
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

template <typename Part>
Part& ZVTracker::Internal::part() {
  if constexpr (std::is_same_v<Part, PageProperties>) {
    return page;
  } else {
    return *this;
  }
}

template <typename Part, typename T>
void ZVTracker::Internal::set(T Part::*field, std::type_identity_t<T> value) {
  if (platform->mainRunLoop().isMainThread()) return void(part<Part>().*field = std::move(value));  // no copy
  postedToMainThread(platform->mainRunLoop(), self,
                     [field, value = std::move(value)](ZVTracker& owner) mutable { owner.internal_->set(field, std::move(value)); });
}

template <typename Part, typename T>
T ZVTracker::Internal::get(T Part::*field) {
  return readOnMainThread(platform->mainRunLoop(), [&] { return part<Part>().*field; });
}

// Setters that do more than store.

void ZVTracker::setUserPaid() { internal_->set(&PageProperties::subscriptionState, "paid"); }
void ZVTracker::setUserAnonymous() { internal_->set(&PageProperties::subscriptionState, "anon"); }
void ZVTracker::setUserLoggedIn() { internal_->set(&PageProperties::subscriptionState, "lgdin"); }
void ZVTracker::setPushReferrer(std::optional<std::string> pushId) {
  internal_->set(&PageProperties::appReferrer, "push/?id=" + ZVPing::urlEncode(pushId));
}

// The ping sender of the current start holds the choice; the next start's takes it over.
void ZVTracker::setUsePong(bool usePong) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setUsePong, usePong)) return;
  internal_->ping->setUsePong(usePong);
}

// Deliberately the session token: a host that sets a user token replaces the current session
// token until the next view rotates it, while the persistent user token stays.
void ZVTracker::setUserToken(std::optional<std::string> token) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setUserToken, token)) return;
  internal_->identity.setSessionToken(std::move(token));
}
void ZVTracker::setPreviousSessionToken(std::optional<std::string> token) {
  if (postedToMainThread(internal_->platform->mainRunLoop(), *this, &ZVTracker::setPreviousSessionToken, token)) return;
  internal_->identity.setPreviousSessionToken(std::move(token));
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

// Plain setters.

void ZVTracker::setSections(StringList sections) { internal_->set(&PageProperties::sections, std::move(sections)); }
void ZVTracker::setAuthors(StringList authors) { internal_->set(&PageProperties::authors, std::move(authors)); }
void ZVTracker::setZones(StringList zones) { internal_->set(&PageProperties::zones, std::move(zones)); }
void ZVTracker::setDomain(std::optional<std::string> domain) { internal_->set(&PageProperties::domain, std::move(domain)); }
void ZVTracker::setSubDomain(std::optional<std::string> subDomain) {
  internal_->set(&PageProperties::subDomain, std::move(subDomain));
}
void ZVTracker::setAppReferrer(std::optional<std::string> referrer) {
  internal_->set(&PageProperties::appReferrer, std::move(referrer));
}
void ZVTracker::setLocation(std::optional<Location> location) { internal_->set(&PageProperties::location, location); }
void ZVTracker::setIdSync(std::optional<Value> idSync) {
  if (!acceptHostValue(idSync, internal_->platform->logSink(), "setIdSync")) return;
  internal_->set(&PageProperties::idSync, std::move(idSync));
}
void ZVTracker::setAppid(std::optional<std::string> appid) { internal_->set(&PageProperties::appid, std::move(appid)); }
void ZVTracker::setSuffix(std::optional<std::string> suffix) { internal_->set(&PageProperties::suffix, std::move(suffix)); }
void ZVTracker::setViewId(std::optional<std::string> viewId) { internal_->set(&PageProperties::viewId, std::move(viewId)); }
void ZVTracker::setTitle(std::optional<std::string> title) { internal_->set(&PageProperties::title, std::move(title)); }
void ZVTracker::setUserAgent(std::optional<std::string> userAgent) {
  internal_->set(&PageProperties::userAgent, std::move(userAgent));
}
void ZVTracker::setExtraParams(std::optional<Value> extraParams) {
  if (!acceptHostValue(extraParams, internal_->platform->logSink(), "setExtraParams")) return;
  internal_->set(&PageProperties::extraParams, std::move(extraParams));
}
void ZVTracker::setView(std::shared_ptr<View> view) { internal_->set(&Internal::view, std::move(view)); }
void ZVTracker::setFirstPing(bool firstPing) { internal_->set(&Internal::firstPing, firstPing); }
void ZVTracker::setStatus(uint64_t status) { internal_->set(&Internal::status, status); }

// Getters.

bool ZVTracker::firstPing() const { return internal_->get(&Internal::firstPing); }
bool ZVTracker::debugMode() const { return internal_->gate->debugMode(); }
bool ZVTracker::usePong() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->ping->usePong(); });
}
uint32_t ZVTracker::uid() const { return internal_->get(&Internal::uid); }
uint64_t ZVTracker::status() const { return internal_->get(&Internal::status); }
std::optional<std::string> ZVTracker::appid() const { return internal_->get(&PageProperties::appid); }
std::optional<std::string> ZVTracker::suffix() const { return internal_->get(&PageProperties::suffix); }
std::shared_ptr<View> ZVTracker::view() const { return internal_->get(&Internal::view); }
std::optional<std::string> ZVTracker::viewId() const { return internal_->get(&PageProperties::viewId); }
std::optional<std::string> ZVTracker::title() const { return internal_->get(&PageProperties::title); }
ZVTracker::StringList ZVTracker::sections() const { return internal_->get(&PageProperties::sections); }
ZVTracker::StringList ZVTracker::authors() const { return internal_->get(&PageProperties::authors); }
ZVTracker::StringList ZVTracker::zones() const { return internal_->get(&PageProperties::zones); }
std::optional<std::string> ZVTracker::userToken() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->identity.userToken(); });
}
std::optional<std::string> ZVTracker::sessionToken() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->identity.sessionToken(); });
}
std::optional<std::string> ZVTracker::previousSessionToken() const {
  return readOnMainThread(internal_->platform->mainRunLoop(), [&] { return internal_->identity.previousSessionToken(); });
}
std::optional<std::string> ZVTracker::appReferrer() const { return internal_->get(&PageProperties::appReferrer); }
std::optional<std::string> ZVTracker::domain() const { return internal_->get(&PageProperties::domain); }
std::optional<std::string> ZVTracker::subDomain() const { return internal_->get(&PageProperties::subDomain); }
std::optional<std::string> ZVTracker::userAgent() const { return internal_->get(&PageProperties::userAgent); }
std::optional<Value> ZVTracker::extraParams() const { return internal_->get(&PageProperties::extraParams); }
std::optional<Value> ZVTracker::idSync() const { return internal_->get(&PageProperties::idSync); }
double ZVTracker::initializationTime() const { return internal_->get(&Internal::initializationTime); }
uint64_t ZVTracker::logLevel() const { return internal_->gate->logLevel(); }

}  // namespace zelvo
