#include "collector/collector_server.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

#include "collector/ping_check.h"
#include "collector/ping_summary.h"
#include "collector/record_format.h"
#include "collector/web_page.h"
#include "zelvo/constants.h"

namespace zelvo::collector {
namespace {

// The page asks for at most this many records at a time; it asks again for the rest.
constexpr std::size_t kRecordsPerPoll = 500;
// A download of the records is made and sent about this much at a time.
constexpr std::size_t kDownloadPieceBytes = 64 * 1024;

// "https://host/rest" → "host".
std::string_view hostOf(std::string_view url) {
  url.remove_prefix(std::min(url.size(), std::string_view("https://").size()));
  return url.substr(0, url.find('/'));
}

// "https://host/path?query" → "/path".
std::string pathOf(std::string_view url) {
  url.remove_prefix(std::string_view("https://").size() + hostOf(url).size());
  return std::string(url.substr(0, url.find('?')));
}

SslContextPtr contextFor(const CollectorSettings& settings) {
  if (settings.certFile && settings.keyFile) return serverContext(*settings.certFile, *settings.keyFile);
  const tls::CertificateAuthority authority;
  if (settings.caOut) authority.writeCertificate(*settings.caOut);
  return serverContext(authority.issueServerCertificate(endpointHosts()));
}

double secondsSince1970() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

// The number after "after=" in the page's query; 0 when there is none.
uint64_t afterSequence(std::string_view query) {
  uint64_t after = 0;
  if (query.substr(0, 6) == "after=") std::from_chars(query.data() + 6, query.data() + query.size(), after);
  return after;
}

}  // namespace

std::vector<std::string> endpointHosts() {
  return {std::string(hostOf(kZVPingURLBase)), std::string(hostOf(kZVPongURLBase)),
          std::string(hostOf(kZelvoConfigURL))};
}

CollectorServer::CollectorServer(CollectorSettings settings, RecordCallback onRecord)
    : settings_(std::move(settings)), onRecord_(std::move(onRecord)), records_(settings_.maxKeptBytes) {
  server_ = std::make_unique<HttpsServer>(contextFor(settings_), settings_.port, settings_.limits,
                                          [this](const Request& request) { return handle(request); });
  watchdog_ = std::thread([this] {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, settings_.lifetime, [this] { return stopping_; });
    stopping_ = true;
    lock.unlock();
    server_->stop();
  });
}

CollectorServer::~CollectorServer() {
  stop();
  watchdog_.join();
  server_.reset();
}

void CollectorServer::stop() {
  std::lock_guard lock(mutex_);
  stopping_ = true;
  changed_.notify_all();
}

bool CollectorServer::stopping() const {
  std::lock_guard lock(mutex_);
  return stopping_;
}

std::vector<RequestRecord> CollectorServer::records() const {
  std::lock_guard lock(mutex_);
  return records_.all();
}

SessionSummary CollectorServer::summary() const {
  std::lock_guard lock(mutex_);
  return records_.summary();
}

std::size_t CollectorServer::pingCount() const {
  std::lock_guard lock(mutex_);
  return pingCount_;
}

void CollectorServer::answerPing(std::size_t pingNumber, int status) {
  std::lock_guard lock(mutex_);
  settings_.statuses.setStatusAt(pingNumber, status);
}

Answer CollectorServer::pageAnswer(std::string_view path, std::string_view query) const {
  if (path == kPagePath) return {200, "text/html; charset=utf-8", std::string(webPage()), {{"Cache-Control", "no-store"}}, {}};
  if (path == kIconPath) return {204, "", "", {}, {}};
  std::lock_guard lock(mutex_);
  if (path == kRecordsPath) {
    std::string body = "{\"received\":" + std::to_string(records_.received()) +
                       ",\"dropped\":" + std::to_string(records_.dropped()) +
                       ",\"stopping\":" + (stopping_ ? "true" : "false") + ",\"records\":[";
    const std::vector<RequestRecord> batch = records_.after(afterSequence(query), kRecordsPerPoll);
    for (std::size_t i = 0; i < batch.size(); ++i) {
      if (i > 0) body += ',';
      body += jsonLine(batch[i]);
    }
    body += "]}";
    return {200, "application/json", std::move(body), {{"Cache-Control", "no-store"}}, {}};
  }
  Answer download{200, "application/jsonl; charset=utf-8", "",
                  {{"Content-Disposition", "attachment; filename=\"zelvo-records.jsonl\""}}, {}};
  // The records kept when it was asked for, made piece by piece as the client reads: the
  // oldest may be dropped meanwhile, and later ones are left for the next download.
  download.nextPiece = [this, sent = uint64_t{0}, last = uint64_t{records_.received()}]() mutable {
    std::lock_guard lock(mutex_);
    std::string piece;
    while (piece.size() < kDownloadPieceBytes && sent < last) {
      const std::vector<RequestRecord> batch = records_.after(sent, 1);
      if (batch.empty() || batch.front().sequence > last) break;
      piece += jsonLine(batch.front());
      piece += '\n';
      sent = batch.front().sequence;
    }
    return piece;
  };
  return download;
}

Answer CollectorServer::handle(const Request& request) {
  static const std::string kPingPath = pathOf(kZVPingURLBase);
  static const std::string kConfigPath = pathOf(kZelvoConfigURL);
  const std::size_t question = request.target.find('?');
  const std::string_view path = request.target.substr(0, question);
  const std::string_view query =
      question == std::string_view::npos ? std::string_view() : request.target.substr(question + 1);
  if (request.method == "GET" && isPagePath(path)) return pageAnswer(path, query);

  RequestRecord record;
  record.receivedAt = secondsSince1970();
  record.method = request.method;
  record.host = request.host;
  record.userAgent = request.userAgent;
  record.path = path;
  // The checker reads the whole query as sent; the record keeps a bounded part of it.
  Answer answer;
  std::optional<CheckedPing> checked;
  if (path == kPingPath) checked = checkPingQuery(query);
  record.query = query;

  std::lock_guard lock(mutex_);
  record.sequence = records_.received() + 1;
  if (checked) {
    ++pingCount_;
    record.ping = summarize(*checked);
    record.params = std::move(checked->params);
    record.violations = std::move(checked->violations);
    if (record.method != "GET") record.violations.insert(record.violations.begin(), {"", "a ping is a GET"});
    answer.status = settings_.statuses.statusFor(pingCount_);
  } else if (path == kConfigPath && record.method == "GET") {
    answer = {200, "application/json", settings_.configBody, {}, {}};
  } else {
    answer.status = 404;
    record.violations.push_back({"", "no such endpoint: " + record.method + " " + record.path});
  }
  record.status = answer.status;
  const RequestRecord& kept = records_.add(std::move(record));
  if (onRecord_) onRecord_(kept);
  if (records_.received() >= settings_.maxRequests) {
    stopping_ = true;
    changed_.notify_all();
  }
  return answer;
}

}  // namespace zelvo::collector
