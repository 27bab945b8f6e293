#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zelvo/consent.h"
#include "zelvo/location.h"
#include "zelvo/platform/platform.h"
#include "zelvo/platform/view.h"
#include "zelvo/value.h"
#include "zelvo/zv_status.h"
#include "zelvo/export.h"

namespace zelvo {

class ZelvoConfig;

// Installs the platform the process-wide tracker and configuration are built on. Call it
// before the first sharedTracker(); later calls (and a null platform) change nothing, return
// false and log why at error severity, whatever the debug mode. Without it, the default Linux
// platform is used. Thread: any.
ZELVO_EXPORT bool installPlatform(std::shared_ptr<Platform> platform);
// The platform of the process-wide tracker (the installed one, or the default made now).
ZELVO_EXPORT std::shared_ptr<Platform> installedPlatform();

// The tracker a host application talks to: start it with an account number, tell it which
// view the reader looks at, and it measures dwell, engagement and scrolling and sends pings.
//
// Thread: every member may be called from any thread. The tracker's state lives on the main
// thread (the platform's main run loop); a call made there runs at once. A call made on
// another thread is carried onto the main thread, in the order of the calls: actions and
// setters return at once (trackView() then returns true, since its answer is not known yet),
// getters wait for the main thread to read the value (never for long: the heartbeat's work is
// short), and never wait when called on the main thread or from a callback of the library,
// which all run there. stopTracker() and the debug-mode and log-level accessors act at once
// from any thread. Nothing here throws or reports errors to the host.
class ZELVO_EXPORT ZVTracker : public std::enable_shared_from_this<ZVTracker> {
 public:
  using StringList = std::optional<std::vector<std::string>>;
  // The private part: the components and the properties (src/tracker/tracker_internal.h).
  struct Internal;

  // The process-wide tracker, made on first use on the installed platform. It lives for the
  // process. Thread: any.
  static std::shared_ptr<ZVTracker> sharedTracker();
  // A tracker of its own on `platform`: a world of its own with its own heartbeat, store and
  // configuration. For tests and for hosts that manage the tracker's lifetime themselves.
  static std::shared_ptr<ZVTracker> create(std::shared_ptr<Platform> platform);
  ~ZVTracker();
  ZVTracker(const ZVTracker&) = delete;
  ZVTracker& operator=(const ZVTracker&) = delete;
  // Copies of the tracker are the tracker itself.
  std::shared_ptr<ZVTracker> copy() { return shared_from_this(); }

  // The user-agent text of every ping, naming the device model of the installed platform.
  static std::string getUserAgent();

  // Starting. Each returns true; nothing is sent until the first trackView().
  bool startTrackerWithAccountID(uint32_t accountId, std::optional<std::string> appid);
  // With the application identifier of the platform.
  bool startTrackerWithAccountID(uint32_t accountId);
  bool setupTrackerWithAccountId(uint32_t accountId, std::optional<std::string> domain);

  // The reader now looks at `view` (kept alive while tracked; its identity is its address).
  // False when it repeats the current view and identifier.
  bool trackView(std::shared_ptr<View> view, std::optional<std::string> viewId,
                 std::optional<std::string> title);
  // Stops for good; the next trackView() starts again. Thread: any.
  void stopTracker();

  // The period the ping interval returns to on the next view or return to the foreground.
  void setInterval(uint32_t seconds);
  // Whether the reader counts as active; while not, the ping period doubles up to 240 s.
  void active(bool isActive);

  // Engagement: a grant of the engagement window, as for a touch (typing: while the keyboard
  // is up).
  void userEngaged(bool typing);
  void registeredUserEngagementEvent();
  // Records this opening of the application in the return-frequency mask.
  void updateUserReturnFrequency();

  // Descriptive properties, sent with the pings.
  void setSections(StringList sections);
  void setAuthors(StringList authors);
  void setZones(StringList zones);
  void setDomain(std::optional<std::string> domain);
  void setSubDomain(std::optional<std::string> subDomain);
  void setAppReferrer(std::optional<std::string> referrer);
  // The referrer of a push notification: "push/?id=" and the percent-encoded identifier.
  void setPushReferrer(std::optional<std::string> pushId);
  void setLocation(std::optional<Location> location);
  void setIdSync(std::optional<Value> idSync);
  void setUserPaid();
  void setUserAnonymous();
  void setUserLoggedIn();
  // Replaces the current session token (not the persistent user token) until the next view.
  void setUserToken(std::optional<std::string> token);
  void setUsePong(bool usePong);
  void setDebugMode(bool debugMode);
  void setLogLevel(uint64_t logLevel);
  void setStatus(uint64_t status);

  // Plain properties.
  void setAppid(std::optional<std::string> appid);
  void setSuffix(std::optional<std::string> suffix);
  void setView(std::shared_ptr<View> view);
  void setViewId(std::optional<std::string> viewId);
  void setTitle(std::optional<std::string> title);
  void setPreviousSessionToken(std::optional<std::string> token);
  void setUserAgent(std::optional<std::string> userAgent);
  void setExtraParams(std::optional<Value> extraParams);
  void setFirstPing(bool firstPing);

  bool firstPing() const;
  bool debugMode() const;
  bool usePong() const;
  uint32_t uid() const;
  uint64_t status() const;
  std::optional<std::string> appid() const;
  std::optional<std::string> suffix() const;
  std::shared_ptr<View> view() const;
  std::optional<std::string> viewId() const;
  std::optional<std::string> title() const;
  StringList sections() const;
  StringList authors() const;
  StringList zones() const;
  std::optional<std::string> userToken() const;
  std::optional<std::string> sessionToken() const;
  std::optional<std::string> previousSessionToken() const;
  std::optional<std::string> appReferrer() const;
  std::optional<std::string> domain() const;
  std::optional<std::string> subDomain() const;
  std::optional<std::string> userAgent() const;
  std::optional<Value> extraParams() const;
  std::optional<Value> idSync() const;
  double initializationTime() const;
  uint64_t logLevel() const;

  // Privacy. While collection is off the tracker sends no ping, fetches no configuration and
  // writes nothing to the store but the switch itself, which is kept across launches.
  // Collection is on unless the host turned it off.
  void setCollectionEnabled(bool enabled);
  bool collectionEnabled() const;
  // Removes the reader's identity from the store (the user token, the first and last visits,
  // the days the application was opened, the site visit) and stops the tracker: the next
  // start is a new reader.
  void eraseStoredData();

  // Consent. Where the platform requires it (Platform::consentRequired()), the tracker
  // collects only once the reader has agreed: until then it makes no user token, records no
  // visit or opening, writes nothing to the store but the answer and the switch, and sends and
  // fetches nothing, whatever the host calls. It collects while
  // collectionEnabled() && (!consentRequired() || consentState() == ConsentState::kGiven).
  // The answer is kept across launches; it is kUnknown until the host records one.
  bool consentRequired() const;
  // Records that the reader agreed. On a started tracker, collection begins now as a start
  // would: what was held back (the user token, the record of this opening, the site visit of
  // the view on screen) is made then, and the next ping is a full one.
  void giveConsent();
  // Records that the reader refused: every request stops at once and the stored identity is
  // kept unused. With `eraseStoredData`, the identity is removed too, as by eraseStoredData():
  // a later consent is a new reader.
  void revokeConsent(bool eraseStoredData);
  ConsentState consentState() const;

  // How the pings fared since the tracker was made: counters by outcome, the lock-out's end,
  // the last error in words. Needs no debug logging. (The tag gives it a symbol of its own:
  // ZVStatus has grown since 1.0, whose pingStatus() the library keeps for hosts built then.)
  [[gnu::abi_tag("zv2")]] ZVStatus pingStatus() const;
  // `callback` runs on the main thread once per ping outcome (each answer, each failure, each
  // ping skipped while offline or locked out); an empty one stops the calls.
  void setPingOutcomeCallback(ZVPingOutcomeCallback callback);

 private:
  friend struct TrackerAccess;
  explicit ZVTracker(std::shared_ptr<Platform> platform);
  std::unique_ptr<Internal> internal_;
};

}  // namespace zelvo
