#include "platform/windows/winhttp_client.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/common/url_characters.h"
#include "platform/windows/winhttp_exchange.h"
#include "platform/windows/winhttp_setup.h"

namespace zelvo::windows_platform {
namespace {

constexpr double kFetchTimeoutSeconds = 60.0;

HttpError cancelled(const HttpRequest& request) { return HttpError{"cancelled", request.url, HttpError::Kind::kOther}; }

}  // namespace

// Lock order: `mutex` is a leaf; requests run and completions are called without it.
struct WinHttpClient::State {
  explicit State(const Options& options) : setup(options) {}

  void loop() {
    std::unique_lock lock(mutex);
    for (;;) {
      wake.wait(lock, [&] { return closing || !queue.empty(); });
      if (closing) break;
      auto [request, done] = std::move(queue.front());
      queue.pop_front();
      WinHttpExchange exchange(setup, request);
      current = &exchange;
      lock.unlock();
      const HttpResult result = exchange.run(nullptr);
      lock.lock();
      current = nullptr;
      lock.unlock();
      done(result);
      lock.lock();
    }
    auto left = std::move(queue);
    lock.unlock();
    for (auto& [request, done] : left) done(cancelled(request));
  }

  const WinHttpSetup setup;
  std::mutex mutex;
  std::condition_variable wake;
  std::deque<std::pair<HttpRequest, HttpCompletion>> queue;  // guarded by mutex
  bool closing = false;                                     // guarded by mutex
  WinHttpExchange* current = nullptr;                       // guarded by mutex
  std::thread thread;
};

WinHttpClient::WinHttpClient(Options options) : state_(std::make_shared<State>(options)) {
  if (state_->setup.error && options.log != nullptr) {
    // Said whatever the log gate: nothing will reach the host's collector until it is fixed.
    options.log->write(LogSeverity::kError, "[ZV]:HTTP client sends nothing: " + *state_->setup.error);
  }
  try {
    state_->thread = std::thread([state = state_] { state->loop(); });
  } catch (const std::system_error&) {
    if (options.log != nullptr) options.log->write(LogSeverity::kError, "[ZV]:HTTP client cannot start: no thread");
    state_->closing = true;
  }
}

WinHttpClient::~WinHttpClient() {
  {
    std::lock_guard lock(state_->mutex);
    state_->closing = true;
    if (state_->current != nullptr) state_->current->cancel();
  }
  state_->wake.notify_all();
  if (!state_->thread.joinable()) return;
  // From a completion, the thread cannot wait for itself: it finishes on its own.
  if (state_->thread.get_id() == std::this_thread::get_id()) {
    state_->thread.detach();
  } else {
    state_->thread.join();
  }
}

void WinHttpClient::startGet(HttpRequest request, HttpCompletion done) {
  {
    std::lock_guard lock(state_->mutex);
    if (!state_->closing) {
      state_->queue.emplace_back(std::move(request), std::move(done));
      state_->wake.notify_one();
      return;
    }
  }
  done(cancelled(request));
}

std::optional<std::string> WinHttpClient::fetch(const std::string& url) {
  HttpRequest request;
  request.url = url;
  request.timeoutSeconds = kFetchTimeoutSeconds;
  WinHttpExchange exchange(state_->setup, request);
  std::string body;
  const HttpResult result = exchange.run(&body);
  const auto* response = std::get_if<HttpResponse>(&result);
  if (response == nullptr || response->statusCode < 200 || response->statusCode > 299) return std::nullopt;
  return body;
}

// A plain https URL with a host name and URL characters only: WinHTTP sends it as written.
bool WinHttpClient::acceptsUrl(std::string_view url) const { return isPlainHttpsUrl(url); }

const std::optional<std::string>& WinHttpClient::configurationError() const { return state_->setup.error; }

}  // namespace zelvo::windows_platform
