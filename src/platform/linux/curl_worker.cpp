#include "platform/linux/curl_worker.h"

#include <exception>
#include <utility>
#include <vector>

namespace zelvo::linux_platform {

CurlWorker::CurlWorker(CurlHttpClientOptions options, std::shared_ptr<IoThread> io)
    : options_(std::move(options)), io_(std::move(io)) {}

CurlWorker::~CurlWorker() {
  // Reached only once closeNow() has run, or when the thread never ran a request.
  if (multi_ != nullptr) curl_multi_cleanup(multi_);
}

void CurlWorker::enqueue(HttpRequest request, HttpCompletion done) {
  // From a completion, started at once: so that a request a cancelled completion starts is
  // cancelled before the client's destruction returns.
  if (io_->isIoThread()) {
    start(std::move(request), std::move(done));
    return;
  }
  const std::string url = request.url;
  auto task = [self = shared_from_this(), request = std::move(request), done]() mutable {
    self->start(std::move(request), std::move(done));
  };
  if (!io_->post(std::move(task))) complete(done, HttpError{"cancelled", url});
}

bool CurlWorker::close(std::chrono::milliseconds limit) {
  if (!io_->started()) return true;  // nothing ever ran
  return io_->runAndWait([self = shared_from_this()] { self->closeNow(); }, limit);
}

void CurlWorker::start(HttpRequest request, HttpCompletion done) {
  if (closed_) {
    complete(done, HttpError{"cancelled", request.url});
    return;
  }
  if (multi_ == nullptr) {
    multi_ = curl_multi_init();
    if (multi_ == nullptr) {
      log("[ZV]:HTTP client cannot start: no curl multi handle");
      complete(done, HttpError{"no curl multi handle", request.url});
      return;
    }
    curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, &CurlWorker::onSocket);
    curl_multi_setopt(multi_, CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, &CurlWorker::onTimer);
    curl_multi_setopt(multi_, CURLMOPT_TIMERDATA, this);
    io_->addSource(this);
  }
  auto transfer = std::make_unique<CurlTransfer>(options_, request, CurlTransfer::Body::discard);
  if (transfer->setupError()) {
    complete(done, *transfer->setupError());
    return;
  }
  CURL* handle = transfer->handle();
  // In the map before curl is told, since adding may already call the socket callback.
  active_.emplace(handle, std::make_pair(std::move(transfer), std::move(done)));
  const CURLMcode added = curl_multi_add_handle(multi_, handle);
  if (added != CURLM_OK) {
    auto found = active_.find(handle);
    HttpCompletion failed = std::move(found->second.second);
    active_.erase(found);
    complete(failed, HttpError{curl_multi_strerror(added), request.url});
  }
}

void CurlWorker::closeNow() {
  if (closed_) return;
  closed_ = true;
  io_->removeSource(this);
  std::vector<Finished> cancelled;
  for (auto& [handle, entry] : active_) {
    curl_multi_remove_handle(multi_, handle);
    cancelled.push_back({std::move(entry.second), HttpError{"cancelled", entry.first->url()}});
  }
  active_.clear();
  sockets_.clear();
  timeout_.reset();
  // Completions of the cancelled requests may start more; those find the worker closed.
  for (const Finished& item : cancelled) complete(item.done, item.result);
}

void CurlWorker::prepare(std::vector<pollfd>& fds, std::optional<IoThread::Clock::time_point>& deadline) {
  for (const auto& [socket, events] : sockets_) fds.push_back(pollfd{socket, events, 0});
  if (timeout_ && (!deadline || *timeout_ < *deadline)) deadline = timeout_;
}

void CurlWorker::dispatch(const pollfd* fds, std::size_t count, IoThread::Clock::time_point now) {
  // A completion may destroy the client, and with it the last other owner of this worker.
  const std::shared_ptr<CurlWorker> keep = shared_from_this();
  int running = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (fds[i].revents == 0) continue;
    int mask = 0;
    if (fds[i].revents & (POLLIN | POLLHUP)) mask |= CURL_CSELECT_IN;
    if (fds[i].revents & POLLOUT) mask |= CURL_CSELECT_OUT;
    if (fds[i].revents & (POLLERR | POLLNVAL)) mask |= CURL_CSELECT_ERR;
    curl_multi_socket_action(multi_, fds[i].fd, mask, &running);
  }
  if (timeout_ && *timeout_ <= now) {
    timeout_.reset();
    curl_multi_socket_action(multi_, CURL_SOCKET_TIMEOUT, 0, &running);
  }
  std::vector<Finished> finished;
  collect(finished);
  for (const Finished& item : finished) complete(item.done, item.result);
}

void CurlWorker::collect(std::vector<Finished>& finished) {
  int queued = 0;
  while (CURLMsg* message = curl_multi_info_read(multi_, &queued)) {
    if (message->msg != CURLMSG_DONE) continue;
    const auto found = active_.find(message->easy_handle);
    if (found == active_.end()) continue;
    auto& [transfer, done] = found->second;
    const CURLcode code = message->data.result;  // the message dies with the removal
    curl_multi_remove_handle(multi_, transfer->handle());
    finished.push_back({std::move(done), transfer->result(code)});
    active_.erase(found);
  }
}

int CurlWorker::onSocket(CURL*, curl_socket_t socket, int what, void* self, void*) {
  auto& sockets = static_cast<CurlWorker*>(self)->sockets_;
  switch (what) {
    case CURL_POLL_IN:
      sockets[socket] = POLLIN;
      break;
    case CURL_POLL_OUT:
      sockets[socket] = POLLOUT;
      break;
    case CURL_POLL_INOUT:
      sockets[socket] = POLLIN | POLLOUT;
      break;
    default:  // CURL_POLL_REMOVE
      sockets.erase(socket);
      break;
  }
  return 0;
}

int CurlWorker::onTimer(CURLM*, long timeoutMillis, void* self) {
  auto& timeout = static_cast<CurlWorker*>(self)->timeout_;
  if (timeoutMillis < 0) {
    timeout.reset();
  } else {
    timeout = IoThread::Clock::now() + std::chrono::milliseconds(timeoutMillis);
  }
  return 0;
}

void CurlWorker::complete(const HttpCompletion& done, const HttpResult& result) const {
  if (!done) return;
  // A throwing completion must not end the I/O thread, and with it the host.
  try {
    done(result);
  } catch (const std::exception& e) {
    log(std::string("[ZV]:HTTP completion threw: ") + e.what());
  } catch (...) {
    log("[ZV]:HTTP completion threw");
  }
}

void CurlWorker::log(const std::string& line) const {
  if (options_.log != nullptr) options_.log->write(LogSeverity::kError, line);
}

}  // namespace zelvo::linux_platform
