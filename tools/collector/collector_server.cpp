#include "collector/collector_server.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "collector/ping_check.h"
#include "collector/ping_summary.h"
#include "zelvo/constants.h"

namespace zelvo::collector {
namespace {

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

}  // namespace

std::vector<std::string> endpointHosts() {
  return {std::string(hostOf(kZVPingURLBase)), std::string(hostOf(kZVPongURLBase)),
          std::string(hostOf(kZelvoConfigURL))};
}

CollectorServer::CollectorServer(CollectorSettings settings, RecordCallback onRecord)
    : settings_(std::move(settings)), onRecord_(std::move(onRecord)) {
  listener_ = std::make_unique<HttpsListener>(contextFor(settings_), settings_.port,
                                              [this](const RequestHead& request) { return handle(request); });
  watchdog_ = std::thread([this] {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, settings_.lifetime, [this] { return stopping_; });
    stopping_ = true;
    lock.unlock();
    listener_->stop();
  });
}

CollectorServer::~CollectorServer() {
  stop();
  watchdog_.join();
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
  return records_;
}

std::size_t CollectorServer::pingCount() const {
  std::lock_guard lock(mutex_);
  return pingCount_;
}

void CollectorServer::answerPing(std::size_t pingNumber, int status) {
  std::lock_guard lock(mutex_);
  settings_.statuses.setStatusAt(pingNumber, status);
}

Answer CollectorServer::handle(const RequestHead& request) {
  static const std::string kPingPath = pathOf(kZVPingURLBase);
  static const std::string kConfigPath = pathOf(kZelvoConfigURL);
  RequestRecord record;
  record.receivedAt = secondsSince1970();
  record.method = request.method;
  record.host = request.header("host");
  record.userAgent = request.header("user-agent");
  const size_t question = request.target.find('?');
  record.path = request.target.substr(0, question);
  if (question != std::string::npos) record.query = request.target.substr(question + 1);

  Answer answer;
  std::lock_guard lock(mutex_);
  record.sequence = records_.size() + 1;
  if (record.path == kPingPath) {
    ++pingCount_;
    const CheckedPing checked = checkPingQuery(record.query);
    record.ping = summarize(checked);
    record.params = checked.params;
    record.violations = checked.violations;
    if (record.method != "GET") record.violations.insert(record.violations.begin(), {"", "a ping is a GET"});
    answer.status = settings_.statuses.statusFor(pingCount_);
  } else if (record.path == kConfigPath && record.method == "GET") {
    answer = {200, "application/json", settings_.configBody};
  } else {
    answer.status = 404;
    record.violations.push_back({"", "no such endpoint: " + record.method + " " + record.path});
  }
  record.status = answer.status;
  records_.push_back(std::move(record));
  if (onRecord_) onRecord_(records_.back());
  if (records_.size() >= settings_.maxRequests) {
    stopping_ = true;
    changed_.notify_all();
  }
  return answer;
}

}  // namespace zelvo::collector
