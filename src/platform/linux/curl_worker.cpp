#include "platform/linux/curl_worker.h"

#include <exception>
#include <utility>
#include <vector>

namespace zelvo::linux_platform {
namespace {

// Upper bound on one wait for socket activity; curl shortens it to its own timers, and
// new requests and stop() wake the wait at once.
constexpr int kPollMillis = 1000;

}  // namespace

CurlWorker::CurlWorker(CurlHttpClientOptions options) : options_(std::move(options)) {}

void CurlWorker::enqueue(HttpRequest request, HttpCompletion done) {
  {
    std::lock_guard lock(mutex_);
    if (!closed_) {
      pending_.push_back({std::move(request), std::move(done)});
      if (multi_ != nullptr) curl_multi_wakeup(multi_);
      return;
    }
  }
  complete(done, HttpError{"cancelled", request.url});
}

void CurlWorker::stop() {
  std::lock_guard lock(mutex_);
  stopping_ = true;
  if (multi_ != nullptr) curl_multi_wakeup(multi_);
}

void CurlWorker::abandon() {
  std::lock_guard lock(mutex_);
  closed_ = true;
  finished_ = true;
}

bool CurlWorker::waitUntilFinished(std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  return finishedChanged_.wait_for(lock, limit, [this] { return finished_; });
}

void CurlWorker::run() {
  CURLM* multi = curl_multi_init();
  if (multi == nullptr) log("[ZV]:HTTP client cannot start: no curl multi handle");
  {
    std::lock_guard lock(mutex_);
    multi_ = multi;
  }
  while (true) {
    std::deque<Pending> incoming;
    bool stopping = false;
    {
      std::lock_guard lock(mutex_);
      incoming.swap(pending_);
      stopping = stopping_ || multi == nullptr;
      // Completions of the cancelled requests may queue more; those are cancelled on the
      // next round, until a round finds nothing new.
      if (stopping && incoming.empty() && active_.empty()) {
        closed_ = true;
        multi_ = nullptr;
        break;
      }
    }
    if (stopping) {
      cancelAll(incoming);
      continue;
    }
    std::vector<Finished> finished;
    start(incoming, finished);
    int running = 0;
    curl_multi_perform(multi, &running);
    collect(finished);
    for (const Finished& item : finished) complete(item.done, item.result);
    curl_multi_poll(multi, nullptr, 0, kPollMillis, nullptr);
  }
  if (multi != nullptr) curl_multi_cleanup(multi);
  {
    std::lock_guard lock(mutex_);
    finished_ = true;
  }
  finishedChanged_.notify_all();
}

void CurlWorker::start(std::deque<Pending>& incoming, std::vector<Finished>& finished) {
  for (Pending& item : incoming) {
    auto transfer =
        std::make_unique<CurlTransfer>(options_, item.request, CurlTransfer::Body::discard);
    if (transfer->setupError()) {
      finished.push_back({std::move(item.done), *transfer->setupError()});
      continue;
    }
    const CURLMcode added = curl_multi_add_handle(multi_, transfer->handle());
    if (added != CURLM_OK) {
      finished.push_back(
          {std::move(item.done), HttpError{curl_multi_strerror(added), item.request.url}});
      continue;
    }
    CURL* handle = transfer->handle();
    active_.emplace(handle, std::make_pair(std::move(transfer), std::move(item.done)));
  }
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

void CurlWorker::cancelAll(std::deque<Pending>& incoming) {
  std::vector<Finished> cancelled;
  for (auto& [handle, entry] : active_) {
    if (multi_ != nullptr) curl_multi_remove_handle(multi_, handle);
    cancelled.push_back({std::move(entry.second), HttpError{"cancelled", entry.first->url()}});
  }
  active_.clear();
  for (Pending& item : incoming) {
    cancelled.push_back({std::move(item.done), HttpError{"cancelled", item.request.url}});
  }
  for (const Finished& item : cancelled) complete(item.done, item.result);
}

void CurlWorker::complete(const HttpCompletion& done, const HttpResult& result) const {
  if (!done) return;
  // A throwing completion must not end the worker thread, and with it the host.
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
