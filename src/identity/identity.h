#pragma once

#include <optional>
#include <string>

#include "common/log_gate.h"
#include "zelvo/platform/calendar.h"
#include "zelvo/platform/clock.h"
#include "zelvo/platform/key_value_store.h"
#include "zelvo/platform/uuid_source.h"

namespace zelvo {

// Who reads: the persistent user token, the session token of the current view and the one
// before it, and how often the reader comes back (the first visit, the last visit and the
// days the application was opened, all in the store, summed up in the return-frequency mask).
//
// Thread: main. `store` may be null (nothing is kept); every argument must outlive this.
class Identity {
 public:
  Identity(KeyValueStore* store, Clock& clock, Calendar& calendar, UuidSource& uuids, const LogGate& gate)
      : store_(store), clock_(clock), calendar_(calendar), uuids_(uuids), gate_(gate) {}

  std::string generateUUID();
  std::string generateUserToken();
  std::string generateSessionToken();
  std::string createSessionToken();

  // The stored user token, or a new one that is stored at once.
  void restoreUserToken();
  // The reader was erased and may not get a new token yet: the old one is not kept in memory.
  void forgetUserToken() { userToken_.reset(); }
  // A new view: the current session token becomes the previous one and a new one is made.
  void rotateSessionToken();

  void remembeUserVisit();
  bool isUserNew();
  void updateUserReturnFrequency();
  // Removes the user token and the visit records from the store (also while collection is
  // off); the values in memory stay.
  void erase();

  const std::optional<std::string>& userToken() const { return userToken_; }
  const std::optional<std::string>& sessionToken() const { return sessionToken_; }
  const std::optional<std::string>& previousSessionToken() const { return previousSessionToken_; }
  const std::optional<std::string>& userReturnFrequencyHex() const { return userReturnFrequencyHex_; }
  // A host's own token replaces the session token until the next view rotates it.
  void setSessionToken(std::optional<std::string> token) { sessionToken_ = std::move(token); }
  void setPreviousSessionToken(std::optional<std::string> token) { previousSessionToken_ = std::move(token); }

 private:
  KeyValueStore* const store_;
  Clock& clock_;
  Calendar& calendar_;
  UuidSource& uuids_;
  const LogGate& gate_;
  std::optional<std::string> userToken_;
  std::optional<std::string> sessionToken_;
  std::optional<std::string> previousSessionToken_;
  std::optional<std::string> userReturnFrequencyHex_;
};

}  // namespace zelvo
