#include <algorithm>
#include <cctype>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

#include "zelvo/testing/scripted_http_client.h"

#include "platform/common/url_characters.h"

namespace zelvo::testing {
namespace {
// Completions that keep starting requests (a retry loop answered by a default answer) would
// otherwise never let deliverPending() return.
constexpr std::size_t kMaxDeliveries = 10000;

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
  });
}
}  // namespace

// Completions never run under `mutex`: they may start further requests.
struct ScriptedHttpClient::Impl {
  mutable std::mutex mutex;
  std::condition_variable changed;
  Delivery delivery;
  std::deque<Answer> answers;
  std::optional<Answer> defaultAnswer;
  std::map<std::string, std::optional<std::string>> fetchResults;
  std::vector<Recorded> requests;
  std::vector<std::string> fetched;
  std::size_t unscripted = 0;
  // Completions waiting for deliverPending() (kDeferred) or for the worker (kThread).
  std::deque<std::function<void()>> held;
  std::deque<std::function<void()>> forWorker;
  bool workerBusy = false;
  bool stopping = false;
  std::thread worker;

  explicit Impl(Delivery d) : delivery(d) {}

  void workerLoop() {
    std::unique_lock lock(mutex);
    for (;;) {
      changed.wait(lock, [this] { return stopping || !forWorker.empty(); });
      if (stopping) return;
      std::function<void()> job = std::move(forWorker.front());
      forWorker.pop_front();
      workerBusy = true;
      lock.unlock();
      job();
      job = nullptr;
      lock.lock();
      workerBusy = false;
      changed.notify_all();
    }
  }
};

std::string ScriptedHttpClient::Recorded::header(const std::string& name) const {
  for (const auto& [key, value] : request.headers) {
    if (equalsIgnoringCase(key, name)) return value;
  }
  return "";
}

ScriptedHttpClient::ScriptedHttpClient(Delivery delivery) : impl_(std::make_unique<Impl>(delivery)) {}

ScriptedHttpClient::~ScriptedHttpClient() {
  {
    std::lock_guard lock(impl_->mutex);
    impl_->stopping = true;
  }
  impl_->changed.notify_all();
  // Completions still queued for the worker are dropped with the client.
  if (impl_->worker.joinable()) impl_->worker.join();
}

void ScriptedHttpClient::startGet(HttpRequest request, HttpCompletion done) {
  std::function<void()> deliver;
  {
    std::lock_guard lock(impl_->mutex);
    const std::string url = request.url;
    impl_->requests.push_back({std::move(request)});
    std::optional<Answer> answer;
    if (!impl_->answers.empty()) {
      answer = impl_->answers.front();
      impl_->answers.pop_front();
    } else {
      answer = impl_->defaultAnswer;
    }
    HttpResult result;
    if (!answer) {
      ++impl_->unscripted;
      std::fprintf(stderr, "ScriptedHttpClient: unscripted request GET %s\n", url.c_str());
      result = HttpError{"unscripted request", url};
    } else if (answer->kind == Answer::Kind::kNever) {
      return;  // `done` is dropped on return, outside the lock
    } else if (answer->kind == Answer::Kind::kError) {
      result = HttpError{"scripted transport error", url};
    } else {
      result = HttpResponse{answer->status, url};
    }
    deliver = [done = std::move(done), result = std::move(result)] { done(result); };
    switch (impl_->delivery) {
      case Delivery::kInline:
        break;
      case Delivery::kDeferred:
        impl_->held.push_back(std::move(deliver));
        return;
      case Delivery::kThread:
        impl_->forWorker.push_back(std::move(deliver));
        if (!impl_->worker.joinable()) impl_->worker = std::thread([impl = impl_.get()] { impl->workerLoop(); });
        impl_->changed.notify_all();
        return;
    }
  }
  deliver();
}

std::optional<std::string> ScriptedHttpClient::fetch(const std::string& url) {
  std::lock_guard lock(impl_->mutex);
  impl_->fetched.push_back(url);
  auto it = impl_->fetchResults.find(url);
  if (it == impl_->fetchResults.end()) return std::nullopt;
  return it->second;
}

bool ScriptedHttpClient::acceptsUrl(std::string_view url) const { return isPlainHttpsUrl(url); }

void ScriptedHttpClient::enqueue(Answer answer) {
  std::lock_guard lock(impl_->mutex);
  impl_->answers.push_back(answer);
}

void ScriptedHttpClient::enqueueStatuses(std::initializer_list<int> statuses) {
  std::lock_guard lock(impl_->mutex);
  for (int status : statuses) impl_->answers.push_back(Answer::withStatus(status));
}

void ScriptedHttpClient::setDefaultAnswer(std::optional<Answer> answer) {
  std::lock_guard lock(impl_->mutex);
  impl_->defaultAnswer = answer;
}

void ScriptedHttpClient::setFetchResult(const std::string& url, std::optional<std::string> body) {
  std::lock_guard lock(impl_->mutex);
  impl_->fetchResults[url] = std::move(body);
}

void ScriptedHttpClient::setDelivery(Delivery delivery) {
  std::lock_guard lock(impl_->mutex);
  impl_->delivery = delivery;
}

std::size_t ScriptedHttpClient::deliverPending() {
  std::size_t delivered = 0;
  while (delivered < kMaxDeliveries) {
    std::function<void()> job;
    {
      std::lock_guard lock(impl_->mutex);
      if (impl_->held.empty()) return delivered;
      job = std::move(impl_->held.front());
      impl_->held.pop_front();
    }
    job();
    ++delivered;
  }
  std::fprintf(stderr, "ScriptedHttpClient: stopped after %zu deliveries; completions keep starting requests\n",
               delivered);
  return delivered;
}

bool ScriptedHttpClient::waitUntilIdle(double timeoutSeconds) {
  std::unique_lock lock(impl_->mutex);
  const auto timeout = std::chrono::duration<double>(std::max(timeoutSeconds, 0.0));
  return impl_->changed.wait_for(lock, timeout, [this] { return impl_->forWorker.empty() && !impl_->workerBusy; });
}

std::vector<ScriptedHttpClient::Recorded> ScriptedHttpClient::requests() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->requests;
}

std::size_t ScriptedHttpClient::requestCount() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->requests.size();
}

std::vector<std::string> ScriptedHttpClient::fetchedUrls() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->fetched;
}

std::size_t ScriptedHttpClient::unscriptedCount() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->unscripted;
}

}  // namespace zelvo::testing
