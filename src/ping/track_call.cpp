#include <cmath>
#include <cstdint>

#include "common/format.h"
#include "common/number_text.h"
#include "common/numeric.h"
#include "ping/ping_url.h"

namespace zelvo {
namespace {

// Unsigned 32-bit counters go out with "%d", as the signed integer of their bits.
int64_t asWireInt(uint32_t value) { return asSigned32(value); }

// Nineteen keys on every ping and four that depend on other values; thirteen more on a full
// ping ("v" and "r" never go together). A regular ping is kept with room for its own keys only.
constexpr std::size_t kMostRegularKeys = 19 + 4;
constexpr std::size_t kMostKeys = kMostRegularKeys + 13;

// Room for the query text of a typical ping (about 270 bytes regular, 550 full), so that its
// buffer is made once.
constexpr std::size_t kRegularQueryBytes = 384;
constexpr std::size_t kFullQueryBytes = 768;

std::string_view asWireFlag(bool value) { return value ? "1" : "0"; }

std::string_view orEmpty(const std::optional<std::string>& text) {
  return text ? std::string_view(*text) : std::string_view();
}

}  // namespace

PingParameters buildParameters(const ZVPing::TrackArguments& a, bool full, bool& referrerSent,
                               const LogGate* gate) {
  PingParameters p;
  p.reserve(full ? kFullQueryBytes : kRegularQueryBytes, full ? kMostKeys : kMostRegularKeys);
  p.addEncoded("h", orEmpty(a.page.domain ? a.page.domain : a.page.appid));
  p.addEncoded("d", orEmpty(a.page.subDomain ? a.page.subDomain : a.page.appid));
  p.addInteger("g", asWireInt(a.trackAccountID));
  p.addInteger("j", asWireInt(a.decay));
  p.add("u", orEmpty(a.userToken));
  p.add("t", orEmpty(a.sessionToken));
  p.addEncoded("p", orEmpty(a.page.viewId));
  // Dwell time in minutes; the division is done in single precision.
  p.add("c", hundredthsText(static_cast<float>(a.dwellTime) / 60.0f));
  p.addInteger("y", asWireInt(truncateToUInt32(a.contentHeight)));
  p.addInteger("o", asWireInt(truncateToUInt32(a.contentWidth)));
  p.addInteger("x", asWireInt(truncateToUInt32(a.scrollPosition)));
  p.addInteger("m", asWireInt(a.maxScrollPosition));
  p.add("f", orEmpty(a.frequency));
  // Exactly one of read, written and idle: writing wins over reading.
  p.add("R", asWireFlag(a.userRead && !a.userWrote));
  p.add("W", asWireFlag(a.userWrote));
  p.add("I", asWireFlag(!a.userRead && !a.userWrote));
  p.addInteger("E", asWireInt(a.engagedSeconds));
  p.addInteger("e", asWireInt(a.engagedSecondsSinceLastPing));
  p.addInteger("Z", asWireInt(a.pingEndpointVersion));

  if (a.siteVisitDepth != 0 && a.siteVisitUid) {
    p.addInteger("sd", a.siteVisitDepth);
    p.add("sr", orEmpty(a.siteVisitReferrer));
    p.add("sv", *a.siteVisitUid);
  }
  if (a.page.subscriptionState) p.addEncoded("_acct", *a.page.subscriptionState);
  if (!full) return p;

  p.add("n", asWireFlag(a.new_));
  p.addEncoded("i", orEmpty(a.page.title));
  p.add("g0", ZVPing::encodeAndJoinArray(a.page.sections));
  p.add("g1", ZVPing::encodeAndJoinArray(a.page.authors));
  p.add("g2", ZVPing::encodeAndJoinArray(a.page.zones));
  p.addInteger("w", asWireInt(truncateToUInt32(a.screenHeight)));
  p.addInteger("S", asWireInt(truncateToUInt32(a.screenWidth)));
  p.add("lg", a.page.location ? fixedText(a.page.location->longitude, 6) : std::string());
  p.add("lt", a.page.location ? fixedText(a.page.location->latitude, 6) : std::string());
  p.add("V", orEmpty(a.sdkVersion));
  // "v" is decided before "r", so the first full ping of an object carries the app referrer
  // and the later ones carry the last path instead.
  if (a.lastPath && !a.lastPath->empty() && referrerSent) p.addEncoded("v", *a.lastPath);
  if (!referrerSent) {
    p.addEncoded("r", orEmpty(a.page.appReferrer));
    referrerSent = true;
  }
  if (a.previousSessionToken) p.add("D", *a.previousSessionToken);
  const Value::Dictionary* idSync = a.page.idSync ? a.page.idSync->asDictionary() : nullptr;
  if (idSync && !idSync->empty()) {
    std::optional<std::string> json = ZVPing::jsonEncode(*a.page.idSync, gate);
    p.addEncoded("_s", orEmpty(json));
  }
  return p;
}

void ZVPing::trackAccountID(const TrackArguments& arguments) {
  enum class LockOut { kNone, kHolds, kCleared } lockOut = LockOut::kNone;
  bool full = false;
  bool referrerSent = false;
  {
    std::lock_guard lock(mutex_);
    if (lockOutEnd_) {
      // The lock-out ends at its end instant: a call at exactly that time clears it and sends.
      if (services_.clock.now() < *lockOutEnd_) {
        lockOut = LockOut::kHolds;
      } else {
        lockOut = LockOut::kCleared;
        lockOutEnd_.reset();
      }
    }
    if (lockOut != LockOut::kHolds) {
      full = arguments.firstPing || lastWasError_;
      lastWasError_ = false;
      referrerSent = referrerSent_;
      // This ping carries the app referrer if it is full and none went out yet.
      if (full) referrerSent_ = true;
    }
  }
  if (lockOut == LockOut::kHolds) {
    status_->record({ZVPingOutcome::Kind::kSkippedLockedOut, {}, 0, {}});
    gate_->standard([] { return std::string("[ZV]:Lock out mode, not sending pings"); });
    return;
  }
  if (lockOut == LockOut::kCleared) {
    status_->setLockOutEnd(std::nullopt);
    gate_->standard([] { return std::string("[ZV]:Clearing lock out"); });
  }

  PingParameters parameters = buildParameters(arguments, full, referrerSent, gate_.get());
  const std::optional<std::string>& userAgent = arguments.page.userAgent;
  sendPing(std::move(parameters), userAgent ? std::string_view(*userAgent) : std::string_view(), 1);
}

}  // namespace zelvo
