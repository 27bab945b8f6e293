#include "integration/local_https_server.h"

#include <pthread.h>
#include <signal.h>

#include <future>
#include <stdexcept>
#include <utility>

namespace zelvo::integration {
namespace {

// httplib adds the connection's addresses to the headers; they were never sent.
bool isAddedByHttplib(const std::string& name) {
  return name == "REMOTE_ADDR" || name == "REMOTE_PORT" || name == "LOCAL_ADDR" ||
         name == "LOCAL_PORT";
}

RecordedRequest record(const httplib::Request& request) {
  RecordedRequest recorded;
  recorded.method = request.method;
  recorded.target = request.target;
  const size_t question = request.target.find('?');
  recorded.path = request.target.substr(0, question);
  if (question != std::string::npos) recorded.query = request.target.substr(question + 1);
  for (const auto& [name, value] : request.headers) {
    if (!isAddedByHttplib(name)) recorded.headers.emplace(name, value);
  }
  return recorded;
}

}  // namespace

LocalHttpsServer::LocalHttpsServer(std::vector<std::string> hostNames,
                                   std::chrono::seconds maxLifetime, bool localNames) {
  const KeyAndCertificate identity = authority_.issueServerCertificate(hostNames, localNames);
  // The server context takes its own references to the certificate and key.
  server_ = std::make_unique<httplib::SSLServer>(identity.certificate.get(), identity.key.get());
  if (!server_->is_valid()) throw std::runtime_error("httplib SSL server is not valid");
  server_->set_keep_alive_timeout(1);
  server_->set_read_timeout(2, 0);
  server_->set_write_timeout(2, 0);
  server_->Get(".*", [this](const httplib::Request& request, httplib::Response& response) {
    handle(request, response);
  });
  port_ = server_->bind_to_any_port("127.0.0.1");
  if (port_ <= 0) throw std::runtime_error("cannot bind 127.0.0.1");
  // httplib says it is running before it makes its pool of threads; the constructor waits for
  // the pool, so that a test counting the process's threads never sees them appear later.
  auto pooled = std::make_shared<std::promise<void>>();
  std::future<void> poolMade = pooled->get_future();
  server_->new_task_queue = [pooled] {
    auto* pool = new httplib::ThreadPool(CPPHTTPLIB_THREAD_POOL_COUNT);
    pooled->set_value();
    return pool;
  };

  listener_ = std::thread([this] {
    // A client that goes away must not kill the test binary when a handler answers it;
    // the threads of httplib's pool inherit this mask.
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
    server_->listen_after_bind();
  });
  // stop() is lost on a server that has not started listening yet; it has once its pool is made.
  poolMade.wait_for(std::chrono::seconds(5));
  watchdog_ = std::thread([this, maxLifetime] {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, maxLifetime, [this] { return stopping_; });
    lock.unlock();
    server_->stop();
  });
}

LocalHttpsServer::~LocalHttpsServer() {
  stop();
  watchdog_.join();
  listener_.join();
}

void LocalHttpsServer::stop() {
  std::lock_guard lock(mutex_);
  stopping_ = true;
  changed_.notify_all();
}

std::string LocalHttpsServer::connectTo(const std::string& host) const {
  const std::string port = std::to_string(port_);
  return host + ":" + port + ":127.0.0.1:" + port;
}

std::string LocalHttpsServer::url(const std::string& host, const std::string& pathAndQuery) const {
  return "https://" + host + ":" + std::to_string(port_) + pathAndQuery;
}

void LocalHttpsServer::script(const std::vector<Reply>& replies) {
  std::lock_guard lock(mutex_);
  script_.insert(script_.end(), replies.begin(), replies.end());
}

void LocalHttpsServer::serve(const std::string& path, std::string body) {
  std::lock_guard lock(mutex_);
  bodies_[path] = std::move(body);
}

std::vector<RecordedRequest> LocalHttpsServer::requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}

bool LocalHttpsServer::waitForRequests(std::size_t count, std::chrono::milliseconds limit) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, limit, [&] { return requests_.size() >= count; });
}

void LocalHttpsServer::handle(const httplib::Request& request, httplib::Response& response) {
  std::unique_lock lock(mutex_);
  requests_.push_back(record(request));
  changed_.notify_all();
  const auto served = bodies_.find(requests_.back().path);
  if (served != bodies_.end()) {
    response.status = 200;
    response.set_content(served->second, "application/json");
    return;
  }
  Reply reply;
  if (!script_.empty()) {
    reply = script_.front();
    script_.pop_front();
  }
  if (reply.hang) {
    changed_.wait_for(lock, kHangLimit, [this] { return stopping_; });
  }
  response.status = reply.status;
}

}  // namespace zelvo::integration
