#include "common/format.h"
#include "ping/date_text.h"
#include "ping/ping_url.h"
#include "zelvo/constants.h"

namespace zelvo {
namespace {

constexpr double kPingTimeoutSeconds = 5.0;

Value urlInfo(const std::string& url) {
  return Value(Value::Dictionary{{kZVDidSendPingRequestNotificationURLKey, Value(url)}});
}

ZVPingOutcome::Kind outcomeOf(HttpError::Kind kind) {
  switch (kind) {
    case HttpError::Kind::kConnection: return ZVPingOutcome::Kind::kConnectionFailed;
    case HttpError::Kind::kTls: return ZVPingOutcome::Kind::kTlsFailed;
    case HttpError::Kind::kTimeout: return ZVPingOutcome::Kind::kTimedOut;
    case HttpError::Kind::kOther: break;
  }
  return ZVPingOutcome::Kind::kFailed;
}

std::string answered(int statusCode) { return "answered " + std::to_string(statusCode); }

ZVPingOutcome errorOutcome(const HttpError& error) {
  return {outcomeOf(error.kind), error.failingUrl, 0, error.description};
}

// The outcome of a request whose ping object a newer start replaced: counted, and nothing
// more done about it (no resend, no lock-out).
ZVPingOutcome orphanOutcome(const HttpResult& result) {
  if (const auto* error = std::get_if<HttpError>(&result)) return errorOutcome(*error);
  const auto& response = std::get<HttpResponse>(result);
  if (response.statusCode == 200) return {ZVPingOutcome::Kind::kDelivered, response.url, 200, {}};
  return {response.statusCode == 503 ? ZVPingOutcome::Kind::kOverCapacity : ZVPingOutcome::Kind::kRejected,
          response.url, response.statusCode, answered(response.statusCode) + " after the tracker started again"};
}

}  // namespace


ZVPing::ZVPing(Services services, std::shared_ptr<const LogGate> gate, std::shared_ptr<PingStatus> status)
    : services_(std::move(services)),
      gate_(std::move(gate)),
      status_(status ? std::move(status) : std::make_shared<PingStatus>(services_.mainLoop)) {}

void ZVPing::sendPing(PingParameters params, std::string_view userAgent, int numRetry) {
  const std::string_view base = pingBase();
  std::string url = composePingUrl(base, params);
  if (!services_.http.acceptsUrl(url)) {
    gate_->error([&] { return "[ZV]:Dropping ping, its URL is not valid: " + url; });
    status_->record({ZVPingOutcome::Kind::kFailed, url, 0, "not sent: the URL is not a valid https URL"});
    return;
  }
  if (!status_->startAttempt()) {
    gate_->error([&] { return "[ZV]:Dropping ping, too many pings wait for an answer: " + url; });
    status_->record({ZVPingOutcome::Kind::kSkippedBusy, {}, 0, {}});
    return;
  }
  {
    std::lock_guard lock(mutex_);
    rememberRequest(base, RequestRecord{std::move(params), std::string(userAgent), numRetry});
  }

  HttpRequest request;
  request.url = url;
  request.headers.emplace_back("User-Agent", userAgent);
  request.timeoutSeconds = kPingTimeoutSeconds;
  request.ignoreCaches = true;
  services_.http.startGet(std::move(request), [weak = weak_from_this(), weakStatus = std::weak_ptr(status_)](
                                                           const HttpResult& result) {
    // The tracker keeps the status (and with it its loop alive for the callback); once the
    // tracker is gone, nobody reads the counts.
    const std::shared_ptr<PingStatus> status = weakStatus.lock();
    if (!status) return;
    status->endAttempt();
    std::shared_ptr<ZVPing> self = weak.lock();
    if (!self) return status->record(orphanOutcome(result));
    if (const auto* error = std::get_if<HttpError>(&result)) {
      self->handlePingRequestError(*error);
    } else {
      self->handlePingRequestResponse(std::get<HttpResponse>(result));
    }
  });

  gate_->standard([&] { return std::string("[ZV]:userAgent: ").append(userAgent); });
  gate_->standard([&] { return "[ZV]:Pinging URL: " + url; });
  announce(kZVWillSendPingRequestNotification, url);
}

void ZVPing::announce(const char* name, const std::string& url) const {
  // Most hosts observe neither notification: then nothing is built.
  if (!services_.notifications.hasObserver(name)) return;
  // Observers are the host's: they hear from us on the main thread only. Answers (and the
  // resends they start) come on the HTTP client's thread, so those are carried over.
  auto post = [owner = services_.owner, notifications = &services_.notifications, name, url] {
    Value info = urlInfo(url);
    notifications->post(name, nullptr, &info);
  };
  RunLoop& loop = services_.mainLoop;
  if (loop.isMainThread()) {
    post();
  } else {
    loop.post(std::move(post));
  }
}

bool ZVPing::StoredRequest::hasUrl(std::string_view url) const {
  const std::string_view query = record.params.query();
  return url.size() == base.size() + query.size() + kPingUrlEnd.size() && url.starts_with(base) &&
         url.substr(base.size(), query.size()) == query && url.ends_with(kPingUrlEnd);
}

std::string_view ZVPing::pingBase() const {
  return usePong_.load(std::memory_order_relaxed) ? kZVPongURLBase : kZVPingURLBase;
}

const ZVPing::StoredRequest* ZVPing::findRequest(std::string_view url) const {
  for (auto it = previousRequests_.rbegin(); it != previousRequests_.rend(); ++it) {
    if (it->hasUrl(url)) return &*it;
  }
  return nullptr;
}

void ZVPing::rememberRequest(std::string_view base, RequestRecord record) {
  previousRequests_.push_back(StoredRequest{base, std::move(record)});
  if (previousRequests_.size() > kMaxPreviousRequests) previousRequests_.pop_front();
}

void ZVPing::handlePingRequestResponse(const HttpResponse& response) {
  switch (response.statusCode) {
    case 200:
      status_->recordDelivered(response.url);
      if (!response.url.empty()) announce(kZVDidSendPingRequestNotification, response.url);
      return;
    case 202:  // accepted is not delivered: send again, like a server error
    case 500: {
      std::optional<RequestRecord> record = previousRequest(response.url);
      if (!record || record->numRetries > kZVMaxNumberOfRetries) {
        status_->record({ZVPingOutcome::Kind::kRejected, response.url, response.statusCode,
                         answered(response.statusCode) + ", given up after the last resend"});
        return;
      }
      status_->record({ZVPingOutcome::Kind::kResent, response.url, response.statusCode,
                       answered(response.statusCode) + ", sending again"});
      sendPing(std::move(record->params), record->userAgent, record->numRetries + 1);
      return;
    }
    case 503: {
      double end = services_.clock.now() + kLockOutTime;
      {
        std::lock_guard lock(mutex_);
        lockOutEnd_ = end;
      }
      status_->setLockOutEnd(end);
      status_->record({ZVPingOutcome::Kind::kOverCapacity, response.url, 503,
                       answered(503) + ": over capacity, no pings until " + describeDate(end)});
      gate_->error([&] { return "[ZV]:Site over capacity, lock out until: " + describeDate(end); });
      return;
    }
    default:
      {
        std::lock_guard lock(mutex_);
        lastWasError_ = true;
      }
      status_->record({ZVPingOutcome::Kind::kRejected, response.url, response.statusCode,
                       answered(response.statusCode)});
      gate_->error([&] {
        return formatPosix("[ZV]:Got non-200 response code: %ld (", static_cast<long>(response.statusCode)) +
               response.url + ")";
      });
      return;
  }
}

void ZVPing::handlePingRequestError(const HttpError& error) {
  status_->record(errorOutcome(error));
  gate_->error([&] { return "[ZV]:Ping Error: " + error.description + " (" + error.failingUrl + ")"; });
}

bool ZVPing::referrerSent() const {
  std::lock_guard lock(mutex_);
  return referrerSent_;
}

void ZVPing::setReferrerSent(bool sent) {
  std::lock_guard lock(mutex_);
  referrerSent_ = sent;
}

bool ZVPing::usePong() const { return usePong_.load(std::memory_order_relaxed); }

void ZVPing::setUsePong(bool use) { usePong_.store(use, std::memory_order_relaxed); }

bool ZVPing::lastWasError() const {
  std::lock_guard lock(mutex_);
  return lastWasError_;
}

std::optional<double> ZVPing::lockOutEnd() const {
  std::lock_guard lock(mutex_);
  return lockOutEnd_;
}

std::optional<ZVPing::RequestRecord> ZVPing::previousRequest(const std::string& url) const {
  std::lock_guard lock(mutex_);
  const StoredRequest* stored = findRequest(url);
  if (!stored) return std::nullopt;
  return stored->record;
}

std::size_t ZVPing::previousRequestCount() const {
  std::lock_guard lock(mutex_);
  return previousRequests_.size();
}

}  // namespace zelvo
