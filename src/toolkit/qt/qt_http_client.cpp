#include "zelvo/qt/qt_http_client.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QThread>
#include <QTimer>
#include <QUrl>

#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

namespace zelvo::qt {
namespace {

constexpr std::chrono::seconds kFetchLimit{60};

HttpError::Kind kindOf(QNetworkReply::NetworkError error) {
  switch (error) {
    case QNetworkReply::SslHandshakeFailedError:
      return HttpError::Kind::kTls;
    case QNetworkReply::TimeoutError:
    case QNetworkReply::ProxyTimeoutError:
      return HttpError::Kind::kTimeout;
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::RemoteHostClosedError:
    case QNetworkReply::HostNotFoundError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::UnknownNetworkError:
    case QNetworkReply::ProxyConnectionRefusedError:
    case QNetworkReply::ProxyConnectionClosedError:
    case QNetworkReply::ProxyNotFoundError:
    case QNetworkReply::UnknownProxyError:
      return HttpError::Kind::kConnection;
    default:
      return HttpError::Kind::kOther;
  }
}

}  // namespace

// The requests handed to the client and not yet started, and whether it still takes any.
// Shared by the client (which adds) and its thread (which takes), so that every request is
// started or cancelled there whether or not Qt still delivers the event that announces it (it
// does not once the application object is gone, and a platform installed for the whole process
// goes after it).
struct QtHttpClient::Inbox {
  struct Entry {
    HttpRequest request;
    bool keepBody = false;
    HttpBodyCompletion done;
  };
  std::mutex mutex;
  bool closed = false;
  std::deque<Entry> entries;

  std::deque<Entry> takeAll() {
    std::lock_guard lock(mutex);
    return std::exchange(entries, {});
  }
};

// The client's part on its thread: the manager and the replies in flight, each with its
// completion. Touched on that thread only.
class QtHttpClient::Worker : public QObject {
 public:
  Worker(QtHttpClientOptions options, std::shared_ptr<Inbox> inbox)
      : options_(std::move(options)), inbox_(std::move(inbox)) {}

  // Starts what the client has handed over.
  void startQueued() {
    for (Inbox::Entry& entry : inbox_->takeAll()) start(std::move(entry.request), entry.keepBody, std::move(entry.done));
  }

  void start(HttpRequest request, bool keepBody, HttpBodyCompletion done) {
    const QUrl url = QUrl::fromEncoded(QByteArray::fromStdString(request.url), QUrl::StrictMode);
    if (!url.isValid() || url.scheme() != QLatin1String("https")) {
      return done(HttpError{"not sent: not an https URL", request.url}, {});
    }
    QNetworkRequest outgoing(url);
    outgoing.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    outgoing.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    outgoing.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    for (const auto& [name, value] : request.headers) {
      if (value.find_first_of("\r\n") != std::string::npos) {
        return done(HttpError{"header with a line break: " + name, request.url}, {});
      }
      outgoing.setRawHeader(QByteArray::fromStdString(name), QByteArray::fromStdString(value));
    }
    if (request.ignoreCaches) {
      outgoing.setRawHeader("Cache-Control", "no-cache");
      outgoing.setRawHeader("Pragma", "no-cache");
    }
    if (options_.caFile) {
      if (!ssl_) {
        // Read once; a file that holds no certificate leaves none to trust, so every request fails.
        ssl_ = QSslConfiguration::defaultConfiguration();
        ssl_->setCaCertificates(QSslCertificate::fromPath(QString::fromStdString(*options_.caFile)));
      }
      outgoing.setSslConfiguration(*ssl_);
    }
    QNetworkReply* reply = manager().get(outgoing);
    inFlight_.emplace(reply, InFlight{request.url, keepBody, std::move(done)});
    const double seconds = options_.requestTimeout ? options_.requestTimeout->count() / 1000.0 : request.timeoutSeconds;
    QTimer::singleShot(static_cast<int>(requestLimitMillis(seconds)), reply, [this, reply] { abort(reply, HttpError::Kind::kTimeout, "timed out"); });
    if (keepBody) {
      connect(reply, &QNetworkReply::downloadProgress, this, [this, reply](qint64 received, qint64) {
        if (static_cast<std::size_t>(received) > options_.maxBodyBytes) abort(reply, HttpError::Kind::kOther, "body too large");
      });
    }
    connect(reply, &QNetworkReply::finished, this, [this, reply] { finish(reply); });
  }

  // Once the thread's loop has ended: completes what was handed over and everything in flight
  // with "cancelled", and releases the manager.
  void close() {
    for (Inbox::Entry& entry : inbox_->takeAll()) entry.done(HttpError{"cancelled", entry.request.url}, {});
    while (!inFlight_.empty()) abort(inFlight_.begin()->first, HttpError::Kind::kOther, "cancelled");
    manager_.reset();
  }

 private:
  struct InFlight {
    std::string url;
    bool keepBody = false;
    HttpBodyCompletion done;
  };

  QNetworkAccessManager& manager() {
    if (!manager_) manager_ = std::make_unique<QNetworkAccessManager>();
    return *manager_;
  }

  void abort(QNetworkReply* reply, HttpError::Kind kind, const std::string& why) {
    auto entry = inFlight_.extract(reply);
    if (entry.empty()) return;
    reply->disconnect(this);
    reply->abort();
    reply->deleteLater();
    entry.mapped().done(HttpError{why, entry.mapped().url, kind}, {});
  }

  void finish(QNetworkReply* reply) {
    auto entry = inFlight_.extract(reply);
    if (entry.empty()) return;
    reply->disconnect(this);
    reply->deleteLater();
    InFlight& request = entry.mapped();
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (status.isValid()) {
      std::string body = request.keepBody ? reply->readAll().toStdString() : std::string();
      return request.done(HttpResponse{status.toInt(), request.url}, std::move(body));
    }
    request.done(HttpError{reply->errorString().toStdString(), request.url, kindOf(reply->error())}, {});
  }

  const QtHttpClientOptions options_;
  const std::shared_ptr<Inbox> inbox_;
  std::optional<QSslConfiguration> ssl_;  // the default one with the CA file's authorities
  std::unique_ptr<QNetworkAccessManager> manager_;
  std::map<QNetworkReply*, InFlight> inFlight_;
};

// The client's thread: its event loop, then the worker's end, on the thread it belongs to.
class QtHttpClient::Thread : public QThread {
 public:
  explicit Thread(Worker* worker) : worker_(worker) {}

 protected:
  void run() override {
    exec();
    worker_->close();
    delete worker_;
  }

 private:
  Worker* const worker_;
};

QtHttpClient::QtHttpClient(Options options) : inbox_(std::make_shared<Inbox>()) {
  auto* worker = new Worker(std::move(options), inbox_);
  thread_ = std::make_unique<Thread>(worker);
  worker_ = worker;
  thread_->setObjectName(QStringLiteral("zelvo-http"));
  worker->moveToThread(thread_.get());
  thread_->start();
}

QtHttpClient::~QtHttpClient() {
  {
    std::lock_guard lock(inbox_->mutex);
    inbox_->closed = true;
  }
  // quit() needs no event delivered: it works after the application object has gone too.
  thread_->quit();
  thread_->wait();
}

void QtHttpClient::send(HttpRequest request, bool keepBody, HttpBodyCompletion done) {
  {
    std::unique_lock lock(inbox_->mutex);
    if (!inbox_->closed) {
      inbox_->entries.push_back(Inbox::Entry{std::move(request), keepBody, std::move(done)});
      lock.unlock();
      QMetaObject::invokeMethod(worker_, [worker = worker_] { worker->startQueued(); }, Qt::QueuedConnection);
      return;
    }
  }
  done(HttpError{"cancelled", request.url}, {});
}

void QtHttpClient::startGet(HttpRequest request, HttpCompletion done) {
  send(std::move(request), false, [done = std::move(done)](const HttpResult& result, const std::string&) { done(result); });
}

std::optional<std::string> QtHttpClient::fetch(const std::string& url) {
  return waitForBody([&](HttpBodyCompletion done) { send(HttpRequest{url, {}, 60.0, false}, true, std::move(done)); }, kFetchLimit);
}

bool QtHttpClient::acceptsUrl(std::string_view url) const {
  const QByteArray written(url.data(), static_cast<qsizetype>(url.size()));
  const QUrl parsed = QUrl::fromEncoded(written, QUrl::StrictMode);
  return parsed.isValid() && parsed.scheme() == QLatin1String("https") && parsed.toEncoded() == written;
}

}  // namespace zelvo::qt
