#include "zelvo/gtk/soup_http_client.h"

#include <libsoup/soup.h>

#include <map>
#include <utility>

namespace zelvo::gtk {
namespace {

constexpr std::chrono::seconds kFetchLimit{60};
// How long closing waits for libsoup to hand back the operations it was told to cancel.
constexpr std::chrono::seconds kCloseLimit{2};

HttpError::Kind kindOf(const GError* error) {
  if (error->domain == G_TLS_ERROR) return HttpError::Kind::kTls;
  if (error->domain == G_RESOLVER_ERROR) return HttpError::Kind::kConnection;
  if (error->domain != G_IO_ERROR) return HttpError::Kind::kOther;
  switch (error->code) {
    case G_IO_ERROR_TIMED_OUT:
      return HttpError::Kind::kTimeout;
    case G_IO_ERROR_CONNECTION_REFUSED:
    case G_IO_ERROR_HOST_NOT_FOUND:
    case G_IO_ERROR_HOST_UNREACHABLE:
    case G_IO_ERROR_NETWORK_UNREACHABLE:
    case G_IO_ERROR_CONNECTION_CLOSED:  // also G_IO_ERROR_BROKEN_PIPE
    case G_IO_ERROR_NOT_CONNECTED:
    case G_IO_ERROR_PARTIAL_INPUT:
    case G_IO_ERROR_PROXY_FAILED:
    case G_IO_ERROR_PROXY_AUTH_FAILED:
    case G_IO_ERROR_PROXY_NEED_AUTH:
    case G_IO_ERROR_PROXY_NOT_ALLOWED:
      return HttpError::Kind::kConnection;
    default:
      return HttpError::Kind::kOther;
  }
}

// The flags libsoup reads a request's URI with.
constexpr auto kUriFlags = static_cast<GUriFlags>(SOUP_HTTP_URI_FLAGS);

}  // namespace

// The client's part on its thread: the context, the session and the transfers in flight.
// Touched on that thread only, but for the context, which is made before the thread starts.
class SoupHttpClient::Worker {
 public:
  explicit Worker(SoupHttpClientOptions options)
      : options_(std::move(options)), context_(g_main_context_new()), loop_(g_main_loop_new(context_, FALSE)) {}
  ~Worker() {
    g_main_loop_unref(loop_);
    g_main_context_unref(context_);
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // The thread's whole life: the session exists only on it.
  void run() {
    g_main_context_push_thread_default(context_);
    session_ = soup_session_new();
    if (options_.caFile) {
      GError* error = nullptr;
      if (GTlsDatabase* database = g_tls_file_database_new(options_.caFile->c_str(), &error)) {
        g_object_set(session_, "tls-database", database, nullptr);
        g_object_unref(database);
      } else {
        caError_ = std::string("cannot read the CA file: ") + error->message;
        g_error_free(error);
      }
    }
    g_main_loop_run(loop_);
    // The operations cancelled by the close come back, within a bound; then the requests
    // posted before the close run and find it closed.
    bool gaveUp = false;
    GSource* limit = g_timeout_source_new_seconds(static_cast<guint>(kCloseLimit.count()));
    g_source_set_callback(
        limit,
        [](gpointer flag) -> gboolean {
          *static_cast<bool*>(flag) = true;
          return G_SOURCE_REMOVE;
        },
        &gaveUp, nullptr);
    g_source_attach(limit, context_);
    while (!inFlight_.empty() && !gaveUp) g_main_context_iteration(context_, TRUE);
    g_source_destroy(limit);
    g_source_unref(limit);
    while (g_main_context_pending(context_)) g_main_context_iteration(context_, FALSE);
    g_object_unref(session_);
    g_main_context_pop_thread_default(context_);
  }

  // Runs `task` on the thread.
  void post(std::function<void(Worker&)> task) {
    auto* posted = new std::pair<Worker*, std::function<void(Worker&)>>(this, std::move(task));
    g_main_context_invoke_full(
        context_, G_PRIORITY_DEFAULT,
        [](gpointer data) {
          auto* task = static_cast<std::pair<Worker*, std::function<void(Worker&)>>*>(data);
          task->second(*task->first);
          return G_SOURCE_REMOVE;
        },
        posted, [](gpointer data) { delete static_cast<std::pair<Worker*, std::function<void(Worker&)>>*>(data); });
  }

  void start(HttpRequest request, bool keepBody, HttpBodyCompletion done) {
    if (closing_) return done(HttpError{"cancelled", request.url}, {});
    if (caError_) return done(HttpError{*caError_, request.url, HttpError::Kind::kTls}, {});
    GUri* uri = g_uri_parse(request.url.c_str(), kUriFlags, nullptr);
    const bool https = uri != nullptr && g_strcmp0(g_uri_get_scheme(uri), "https") == 0;
    SoupMessage* message = https ? soup_message_new_from_uri("GET", uri) : nullptr;
    if (uri != nullptr) g_uri_unref(uri);
    if (message == nullptr) return done(HttpError{"not sent: not an https URL", request.url}, {});
    soup_message_add_flags(message, SOUP_MESSAGE_NO_REDIRECT);
    SoupMessageHeaders* headers = soup_message_get_request_headers(message);
    if (request.ignoreCaches) {
      request.headers.emplace_back("Cache-Control", "no-cache");
      request.headers.emplace_back("Pragma", "no-cache");
    }
    for (const auto& [name, value] : request.headers) {
      if (value.find_first_of("\r\n") != std::string::npos || name.find_first_of("\r\n:") != std::string::npos) {
        g_object_unref(message);
        return done(HttpError{"header with a line break: " + name, request.url}, {});
      }
      soup_message_headers_replace(headers, name.c_str(), value.c_str());
    }
    auto transfer = std::make_unique<Transfer>();
    Transfer* const raw = transfer.get();
    raw->worker = this;
    raw->url = std::move(request.url);
    raw->keepBody = keepBody;
    raw->done = std::move(done);
    raw->message = message;
    raw->cancellable = g_cancellable_new();
    const double seconds = options_.requestTimeout ? options_.requestTimeout->count() / 1000.0 : request.timeoutSeconds;
    raw->timer = g_timeout_source_new(static_cast<guint>(requestLimitMillis(seconds)));
    g_source_set_callback(raw->timer, &Worker::onTimeout, raw, nullptr);
    g_source_attach(raw->timer, context_);
    inFlight_.emplace(raw, std::move(transfer));
    soup_session_send_and_read_async(session_, message, G_PRIORITY_DEFAULT, raw->cancellable, &Worker::onDone, raw);
  }

  // Completes everything in flight with "cancelled", cancels it, and ends the loop.
  void close() {
    closing_ = true;
    for (auto& [raw, transfer] : inFlight_) end(*raw, HttpError{"cancelled", raw->url});
    g_main_loop_quit(loop_);
  }

 private:
  struct Transfer {
    Worker* worker = nullptr;
    std::string url;
    bool keepBody = false;
    HttpBodyCompletion done;  // empty once called
    SoupMessage* message = nullptr;
    GCancellable* cancellable = nullptr;
    GSource* timer = nullptr;
  };

  // Completes a transfer early; libsoup's callback comes later and only frees it.
  void end(Transfer& transfer, const HttpError& error) {
    if (!transfer.done) return;
    g_cancellable_cancel(transfer.cancellable);
    std::exchange(transfer.done, nullptr)(error, {});
  }

  static gboolean onTimeout(gpointer data) {
    auto& transfer = *static_cast<Transfer*>(data);
    transfer.worker->end(transfer, HttpError{"timed out", transfer.url, HttpError::Kind::kTimeout});
    return G_SOURCE_REMOVE;
  }

  static void onDone(GObject* session, GAsyncResult* result, gpointer data) {
    auto* raw = static_cast<Transfer*>(data);
    Worker& worker = *raw->worker;
    std::unique_ptr<Transfer> transfer = std::move(worker.inFlight_.extract(raw).mapped());
    GError* error = nullptr;
    GBytes* bytes = soup_session_send_and_read_finish(SOUP_SESSION(session), result, &error);
    g_source_destroy(transfer->timer);
    g_source_unref(transfer->timer);
    if (transfer->done) {
      if (error != nullptr) {
        transfer->done(HttpError{error->message, transfer->url, kindOf(error)}, {});
      } else {
        gsize size = 0;
        const auto* data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
        if (transfer->keepBody && size > worker.options_.maxBodyBytes) {
          transfer->done(HttpError{"body too large", transfer->url}, {});
        } else {
          const int status = static_cast<int>(soup_message_get_status(transfer->message));
          transfer->done(HttpResponse{status, transfer->url},
                         transfer->keepBody && data != nullptr ? std::string(data, size) : std::string());
        }
      }
    }
    if (bytes != nullptr) g_bytes_unref(bytes);
    if (error != nullptr) g_error_free(error);
    g_object_unref(transfer->message);
    g_object_unref(transfer->cancellable);
  }

  const SoupHttpClientOptions options_;
  GMainContext* const context_;
  GMainLoop* const loop_;
  SoupSession* session_ = nullptr;
  std::optional<std::string> caError_;
  bool closing_ = false;
  std::map<Transfer*, std::unique_ptr<Transfer>> inFlight_;
};

SoupHttpClient::SoupHttpClient(Options options)
    : worker_(std::make_unique<Worker>(std::move(options))), thread_([worker = worker_.get()] { worker->run(); }) {}

SoupHttpClient::~SoupHttpClient() {
  {
    // Every request posted before this is queued before the close, and none comes after.
    std::lock_guard lock(mutex_);
    closed_ = true;
    worker_->post([](Worker& worker) { worker.close(); });
  }
  thread_.join();
}

void SoupHttpClient::send(HttpRequest request, bool keepBody, HttpBodyCompletion done) {
  std::unique_lock lock(mutex_);
  if (closed_) {
    lock.unlock();
    return done(HttpError{"cancelled", request.url}, {});
  }
  worker_->post([request = std::move(request), keepBody, done = std::move(done)](Worker& worker) mutable {
    worker.start(std::move(request), keepBody, std::move(done));
  });
}

void SoupHttpClient::startGet(HttpRequest request, HttpCompletion done) {
  send(std::move(request), false, [done = std::move(done)](const HttpResult& result, const std::string&) { done(result); });
}

std::optional<std::string> SoupHttpClient::fetch(const std::string& url) {
  return waitForBody([&](HttpBodyCompletion done) { send(HttpRequest{url, {}, 60.0, false}, true, std::move(done)); }, kFetchLimit);
}

bool SoupHttpClient::acceptsUrl(std::string_view url) const {
  const std::string written(url);
  if (written.find('\0') != std::string::npos) return false;
  GUri* uri = g_uri_parse(written.c_str(), kUriFlags, nullptr);
  if (uri == nullptr) return false;
  gchar* back = g_uri_to_string(uri);
  const bool same = g_strcmp0(g_uri_get_scheme(uri), "https") == 0 && written == back;
  g_free(back);
  g_uri_unref(uri);
  return same;
}

}  // namespace zelvo::gtk
