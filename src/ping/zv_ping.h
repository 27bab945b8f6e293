#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/log_gate.h"
#include "ping/page_properties.h"
#include "ping/ping_status.h"
#include "zelvo/platform/clock.h"
#include "zelvo/platform/http_client.h"
#include "zelvo/platform/notification_center.h"
#include "zelvo/platform/run_loop.h"
#include "zelvo/value.h"

namespace zelvo {

// A ping's parameters, in the order they go on the wire, kept as the query text itself ("k=v"
// pairs joined by "&") with a view of each key and value into it. Building a ping appends to
// one buffer, and its URL is that text between the endpoint's base and "&_": no value is a
// string of its own, copied into place one by one.
// The builder puts each key in once, so add() appends without looking for the key.
class PingParameters {
 public:
  using Entry = std::pair<std::string_view, std::string_view>;

  PingParameters() = default;
  PingParameters(const PingParameters& other) { *this = other; }
  PingParameters(PingParameters&& other) noexcept { *this = std::move(other); }
  PingParameters& operator=(const PingParameters& other);
  PingParameters& operator=(PingParameters&& other) noexcept;

  // `key` must not be present yet.
  void add(std::string_view key, std::string_view value);
  // add() of `text` percent-encoded (ZVPing::urlEncode), written in place.
  void addEncoded(std::string_view key, std::string_view text);
  // add() of `value` as "%lld" writes it, written in place.
  void addInteger(std::string_view key, int64_t value);
  // Room for `bytes` of query text and `keys` pairs.
  void reserve(std::size_t bytes, std::size_t keys);
  // The value of `key`, or null.
  const std::string_view* find(std::string_view key) const;
  const std::vector<Entry>& entries() const { return entries_; }
  std::size_t size() const { return entries_.size(); }
  // The pairs as they go on the wire.
  std::string_view query() const { return {text_.get(), size_}; }

 private:
  // Appends "&" (but before the first pair), `key` and "=", then room for a value of at most
  // `valueSize` bytes, which the caller writes at the pointer returned and ends with endValue().
  char* beginValue(std::string_view key, std::size_t valueSize);
  void endValue(const char* end);
  // A new buffer of `capacity` bytes with the text, and the views moved into it.
  void moveText(std::size_t capacity);

  // Not a std::string: the views into it must stay valid when the parameters are moved.
  std::unique_ptr<char[]> text_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
  std::vector<Entry> entries_;
};

// Sends pings: turns one ping's values into a URL, starts the GET, resends on 202 and 500,
// locks out for ten minutes on 503, and marks the next ping full on other answers.
// One object per start of the tracker; answers to requests of a replaced object are ignored.
// Make it with std::make_shared: the request completions hold it weakly, and an object that no
// shared_ptr owns ignores every answer.
// Thread: trackAccountID() on the main thread; answers are handled on the HTTP client's thread;
// the properties and getters are safe from any thread.
class ZVPing : public std::enable_shared_from_this<ZVPing> {
 public:
  using StringList = std::optional<std::vector<std::string>>;

  // The values of one ping, named after the keywords of the track call; what the host set is
  // in `page`.
  struct TrackArguments {
    uint32_t trackAccountID = 0;
    bool firstPing = false;
    bool new_ = false;
    uint32_t decay = 0;
    std::optional<std::string> userToken;
    std::optional<std::string> sessionToken;
    uint32_t dwellTime = 0;
    double contentHeight = 0.0;
    double contentWidth = 0.0;
    double scrollPosition = 0.0;
    uint32_t maxScrollPosition = 0;
    std::optional<std::string> lastPath;
    float screenHeight = 0.0f;
    float screenWidth = 0.0f;
    std::optional<std::string> frequency;
    bool userRead = false;
    bool userWrote = false;
    uint32_t engagedSeconds = 0;
    uint32_t engagedSecondsSinceLastPing = 0;
    uint32_t pingEndpointVersion = 0;
    std::optional<std::string> sdkVersion;
    int64_t siteVisitDepth = 0;
    std::optional<std::string> siteVisitReferrer;
    std::optional<std::string> siteVisitUid;
    std::optional<std::string> previousSessionToken;
    PageProperties page;
  };

  // A request kept for resends.
  struct RequestRecord {
    PingParameters params;
    std::string userAgent;
    int numRetries = 1;
  };

  // At most this many request records are kept (the newest ones).
  static constexpr std::size_t kMaxPreviousRequests = 64;

  // What a ping sender uses of the platform. `owner` keeps the services alive while an
  // answer's completion or a notification posted to the main thread may still reach them.
  struct Services {
    std::shared_ptr<const void> owner;
    HttpClient& http;
    Clock& clock;
    RunLoop& mainLoop;
    NotificationCenter& notifications;
  };

  // `status` counts the outcomes; the tracker passes one for all its starts. Without it the
  // object counts on its own.
  ZVPing(Services services, std::shared_ptr<const LogGate> gate, std::shared_ptr<PingStatus> status = nullptr);

  // The track call: lock-out test, parameters, send.
  void trackAccountID(const TrackArguments& arguments);

  // Base of the endpoint in use, "k=v" pairs joined by "&", then "&_".
  std::string getPingUrl(const PingParameters& parameters) const;
  // Each element percent-encoded, joined by ","; nothing or an empty list gives "".
  static std::string encodeAndJoinArray(const StringList& array);
  // Percent-encodes every byte but A-Z a-z 0-9 - _ . ~ / ; nothing gives "".
  static std::string urlEncode(const std::optional<std::string>& text);
  static std::string urlEncode(std::string_view text);
  // Plain strings and literals would be ambiguous between the two above.
  static std::string urlEncode(const std::string& text) { return urlEncode(std::string_view(text)); }
  static std::string urlEncode(const char* text) { return urlEncode(std::string_view(text)); }
  // Compact JSON, or nothing (logged through `gate` when given) when it cannot be encoded.
  static std::optional<std::string> jsonEncode(const Value& object, const LogGate* gate);

  // Keeps a record for resends, starts the GET and posts the will-send notification. A ping
  // whose URL is not a valid https URL is dropped (logged), and so is one beyond the bound on
  // pings in flight (counted as kSkippedBusy). Takes no lock while it calls the HTTP client
  // or posts.
  void sendPing(PingParameters params, std::string_view userAgent, int numRetry);
  // The answer to a request: 200 posts did-send, 202/500 resend (up to the last resend, then
  // count as rejected), 503 locks out, others make the next ping full.
  void handlePingRequestResponse(const HttpResponse& response);
  // No answer: logged only.
  void handlePingRequestError(const HttpError& error);

  bool referrerSent() const;
  void setReferrerSent(bool sent);
  bool usePong() const;
  void setUsePong(bool use);

  PingStatus& status() const { return *status_; }

  // State, for tests and tools.
  bool lastWasError() const;
  std::optional<double> lockOutEnd() const;
  std::optional<RequestRecord> previousRequest(const std::string& url) const;
  std::size_t previousRequestCount() const;

 private:
  struct StoredRequest {
    // The URL is not kept apart: it is `base` (the endpoint it went to), the query of the
    // record's parameters, then "&_".
    std::string_view base;
    RequestRecord record;
    bool hasUrl(std::string_view url) const;
  };
  using StoredRequests = std::deque<StoredRequest>;

  // The base of the endpoint in use.
  std::string_view pingBase() const;
  // The newest record stored under `url`, or null. Called with mutex_ held.
  const StoredRequest* findRequest(std::string_view url) const;
  // Stores `record`, sent to endpoint `base`, as the newest one, dropping the oldest beyond
  // the bound. Called with mutex_ held.
  void rememberRequest(std::string_view base, RequestRecord record);
  // Posts notification `name` with `url` as its user info, on the main thread.
  void announce(const char* name, const std::string& url) const;

  const Services services_;
  std::shared_ptr<const LogGate> gate_;
  const std::shared_ptr<PingStatus> status_;
  // Guards every field below against the HTTP client's completion thread. A leaf lock: it is
  // never held while calling the HTTP client, posting a notification or logging.
  mutable std::mutex mutex_;
  bool lastWasError_ = false;
  // Records, oldest first. Bounded so that a host running for weeks does not grow it
  // without limit. That is safe for resends: a record is read only when the answer for its
  // URL arrives, within the 5-second timeout of its request, and in 5 seconds one object
  // sends a handful of pings (one per heartbeat period or tracked view, plus at most three
  // resends each), far fewer than kMaxPreviousRequests. A URL sent again (a resend) gets a
  // record of its own after the earlier one, and lookups take the newest: a send searches
  // nothing, and only the rare answer that asks for a resend compares URLs.
  StoredRequests previousRequests_;
  std::optional<double> lockOutEnd_;
  bool referrerSent_ = false;
  // Read on every send and set apart from the rest: no lock.
  std::atomic<bool> usePong_{false};
};

}  // namespace zelvo
