#include "collector/https_server.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <list>
#include <mutex>
#include <optional>
#include <stdexcept>

#include "collector/rate_limit.h"

namespace zelvo::collector {
namespace {

namespace beast = boost::beast;
namespace http = beast::http;
namespace net = boost::asio;
namespace ssl = net::ssl;
using tcp = net::ip::tcp;

// After an answer that closes a connection early (a head too large), what the client still
// sends is read and dropped (a lingering close): closing on unread bytes would reset the
// connection, and the client would lose the answer. While the client keeps sending, up to a
// bound in bytes and in time.
constexpr std::size_t kDrainBytes = 4 * 1024 * 1024;
constexpr auto kDrainIdle = std::chrono::seconds(1);
constexpr auto kDrainTime = std::chrono::seconds(5);
constexpr auto kCloseTime = std::chrono::seconds(1);
constexpr auto kStopGrace = std::chrono::seconds(1);
// The request line's words and blanks around the target.
constexpr std::size_t kRequestLineExtra = 64;
// The read buffer holds the head, or a chunked body's trailer, whole. Beast throws on a field
// of 65,534 bytes or more; a buffer below that turns such a field into a head too large.
constexpr std::size_t kBufferCeiling = 60 * 1024;
constexpr std::size_t kBufferSlack = 4096;

class Session;

}  // namespace

struct HttpsServer::State {
  State(SslContextPtr context, ServerLimits chosen, Handler answer)
      : tls(context.release()),
        limits(chosen),
        handler(std::move(answer)),
        rate(chosen.requestsPerSecond, chosen.requestsPerSecond) {}

  std::optional<net::io_context> io{std::in_place};
  ssl::context tls;
  const ServerLimits limits;
  const Handler handler;
  RateLimit rate;
  std::optional<tcp::acceptor> acceptor;
  std::optional<net::steady_timer> acceptPause;
  std::atomic<bool> stopping{false};

  std::mutex mutex;
  std::condition_variable ended;
  std::size_t sessions = 0;
  std::list<std::weak_ptr<Session>> live;

  void accept();
  void admit(tcp::socket socket);
  void closeIdleSessions();
};

namespace {

std::size_t headLimit(const ServerLimits& limits) {
  return std::min(limits.maxTargetBytes + limits.maxHeaderBytes + kRequestLineExtra, kBufferCeiling - kBufferSlack);
}

std::size_t fieldBytes(const http::fields& fields) {
  std::size_t bytes = 0;
  for (const auto& field : fields) bytes += field.name_string().size() + field.value().size() + 4;
  return bytes;
}

std::string_view view(beast::string_view text) { return {text.data(), text.size()}; }

Answer refusal(int status, std::string text) { return {status, "text/plain; charset=utf-8", std::move(text) + "\n", {}, {}}; }

// One connection: the handshake, then requests one after the other, all on its strand.
class Session : public std::enable_shared_from_this<Session> {
 public:
  Session(tcp::socket socket, HttpsServer::State& state, bool overCapacity)
      : stream_(std::move(socket), state.tls),
        state_(state),
        overCapacity_(overCapacity),
        buffer_(headLimit(state.limits) + kBufferSlack) {}

  ~Session() {
    std::lock_guard lock(state_.mutex);
    --state_.sessions;
    state_.live.erase(registration_);
    state_.ended.notify_all();
  }

  void setRegistration(std::list<std::weak_ptr<Session>>::iterator at) { registration_ = at; }

  void start() {
    // One deadline for the handshake and the first request: dripping bytes does not extend it.
    socket().expires_after(state_.limits.requestDeadline);
    stream_.async_handshake(ssl::stream_base::server, beast::bind_front_handler(&Session::onHandshake, shared_from_this()));
  }

  // Closes the connection when it is waiting for a next request (the server is stopping).
  void closeIfIdle() {
    net::post(stream_.get_executor(), [self = shared_from_this()] {
      if (self->idle_) self->close();
    });
  }

 private:
  beast::tcp_stream& socket() { return beast::get_lowest_layer(stream_); }

  void onHandshake(beast::error_code error) {
    if (error) return close();
    read(true);
  }

  void read(bool first) {
    if (!first) {
      if (state_.stopping) return shutdown();
      socket().expires_after(state_.limits.requestDeadline);
      idle_ = true;
    }
    parser_.emplace();
    parser_->header_limit(static_cast<std::uint32_t>(headLimit(state_.limits)));
    parser_->body_limit(state_.limits.maxBodyBytes);
    http::async_read(stream_, buffer_, *parser_, beast::bind_front_handler(&Session::onRead, shared_from_this()));
  }

  void onRead(beast::error_code error, std::size_t) {
    idle_ = false;
    if (error == http::error::header_limit || error == http::error::buffer_overflow) {
      return answer(refusal(requestLineEnded() ? 431 : 414, requestLineEnded() ? "header fields too large"
                                                                                 : "request target too long"),
                    false, true);
    }
    if (error == http::error::body_limit) return answer(refusal(413, "request body too large"), false, true);
    if (error && error.category() == http::make_error_code(http::error::bad_target).category() &&
        error != http::error::end_of_stream && error != http::error::partial_message) {
      return answer(refusal(400, "not an HTTP/1.1 request"), false, true);
    }
    if (error) return close();
    const auto& request = parser_->get();
    bool keepAlive = request.keep_alive() && !state_.stopping;
    Answer reply = respond(request);
    if (reply.status == 503 || reply.status == 414 || reply.status == 431) keepAlive = false;
    answer(std::move(reply), keepAlive, false);
  }

  // Whether the parser read a whole request line of an acceptable length before the head
  // grew too large: then the fields are to blame.
  bool requestLineEnded() const {
    const auto target = parser_->get().target();
    return !target.empty() && target.size() <= state_.limits.maxTargetBytes;
  }

  Answer respond(const http::request<http::string_body>& request) {
    if (overCapacity_) {
      return {503, "text/plain; charset=utf-8", "too many connections\n", {{"Retry-After", "1"}}, {}};
    }
    if (!state_.rate.take(RateLimit::Clock::now())) {
      return {503, "text/plain; charset=utf-8", "too many requests\n", {{"Retry-After", "1"}}, {}};
    }
    if (request.target().size() > state_.limits.maxTargetBytes) return refusal(414, "request target too long");
    if (fieldBytes(request.base()) > state_.limits.maxHeaderBytes) return refusal(431, "header fields too large");
    const Request seen{view(request.method_string()), view(request.target()), view(request[http::field::host]),
                       view(request[http::field::user_agent])};
    try {
      return state_.handler(seen);
    } catch (const std::exception& problem) {
      return refusal(500, problem.what());
    }
  }

  template <typename Message>
  static void setHead(Message& message, const Answer& reply, bool keepAlive) {
    message.set(http::field::server, "zelvo-collector");
    if (!reply.contentType.empty()) message.set(http::field::content_type, reply.contentType);
    for (const auto& [name, value] : reply.headers) message.set(name, value);
    message.keep_alive(keepAlive);
  }

  void answer(Answer reply, bool keepAlive, bool drainAfter) {
    if (reply.nextPiece) return answerInPieces(std::move(reply), keepAlive);
    response_.emplace(static_cast<http::status>(reply.status), 11);
    setHead(*response_, reply, keepAlive);
    response_->body() = std::move(reply.body);
    response_->prepare_payload();
    if (drainAfter) drainEnd_ = std::chrono::steady_clock::now() + kDrainTime;
    if (drainAfter) socket().expires_after(kDrainIdle);
    http::async_write(stream_, *response_,
                      [self = shared_from_this(), keepAlive, drainAfter](beast::error_code error, std::size_t) {
                        self->response_.reset();
                        if (error) return self->close();
                        if (drainAfter) return self->drain(0);
                        if (keepAlive) return self->read(false);
                        self->shutdown();
                      });
  }

  // The head, then one chunk per piece, each written before the next piece is made.
  void answerInPieces(Answer reply, bool keepAlive) {
    nextPiece_ = std::move(reply.nextPiece);
    head_.emplace(static_cast<http::status>(reply.status), 11);
    setHead(*head_, reply, keepAlive);
    head_->chunked(true);
    headWriter_.emplace(*head_);
    socket().expires_after(state_.limits.requestDeadline);
    http::async_write_header(stream_, *headWriter_,
                             [self = shared_from_this(), keepAlive](beast::error_code error, std::size_t) {
                               if (error) return self->close();
                               self->writePiece(keepAlive);
                             });
  }

  void writePiece(bool keepAlive) {
    piece_ = nextPiece_();
    // Each piece has the whole deadline: a client that stops reading is let go.
    socket().expires_after(state_.limits.requestDeadline);
    const auto next = [self = shared_from_this(), keepAlive, last = piece_.empty()](beast::error_code error, std::size_t) {
      if (error) return self->close();
      if (!last) return self->writePiece(keepAlive);
      self->nextPiece_ = nullptr;
      self->headWriter_.reset();
      self->head_.reset();
      if (keepAlive) return self->read(false);
      self->shutdown();
    };
    if (piece_.empty()) return net::async_write(stream_, http::make_chunk_last(), next);
    net::async_write(stream_, http::make_chunk(net::buffer(piece_)), next);
  }

  void drain(std::size_t dropped) {
    const auto now = std::chrono::steady_clock::now();
    if (dropped >= kDrainBytes || now >= drainEnd_) return close();
    socket().expires_after(std::min<std::chrono::steady_clock::duration>(kDrainIdle, drainEnd_ - now));
    stream_.async_read_some(net::buffer(scratch_),
                            [self = shared_from_this(), dropped](beast::error_code error, std::size_t read) {
                              if (error) return self->close();
                              self->drain(dropped + read);
                            });
  }

  void shutdown() {
    socket().expires_after(kCloseTime);
    stream_.async_shutdown([self = shared_from_this()](beast::error_code) { self->close(); });
  }

  void close() {
    beast::error_code ignored;
    socket().socket().shutdown(tcp::socket::shutdown_both, ignored);
    socket().close();
  }

  beast::ssl_stream<beast::tcp_stream> stream_;
  HttpsServer::State& state_;
  const bool overCapacity_;
  beast::flat_buffer buffer_;
  std::optional<http::request_parser<http::string_body>> parser_;
  std::optional<http::response<http::string_body>> response_;
  std::optional<http::response<http::empty_body>> head_;
  std::optional<http::response_serializer<http::empty_body>> headWriter_;
  std::function<std::string()> nextPiece_;
  std::string piece_;
  std::array<char, 16 * 1024> scratch_{};
  bool idle_ = false;
  std::chrono::steady_clock::time_point drainEnd_;
  std::list<std::weak_ptr<Session>>::iterator registration_;
};

// Runs the context until it stops. An exception thrown by a connection's work unwinds through
// the handler that owned the connection, which closes it; the other connections go on.
void runContained(net::io_context& io) {
  for (;;) {
    try {
      io.run();
      return;
    } catch (const std::exception&) {
    }
  }
}

}  // namespace

void HttpsServer::State::accept() {
  acceptor->async_accept(net::make_strand(*io), [this](beast::error_code error, tcp::socket socket) {
    if (error == net::error::operation_aborted || !acceptor->is_open()) return;
    if (!error) {
      admit(std::move(socket));
      return accept();
    }
    // Out of descriptors, most likely: try again a little later rather than spin.
    acceptPause->expires_after(std::chrono::milliseconds(50));
    acceptPause->async_wait([this](beast::error_code waited) {
      if (!waited) accept();
    });
  });
}

void HttpsServer::State::admit(tcp::socket socket) {
  // Answers go out whole at once; waiting to fill a segment would only delay them.
  beast::error_code ignored;
  socket.set_option(tcp::no_delay(true), ignored);
  std::shared_ptr<Session> session;
  {
    std::lock_guard lock(mutex);
    // Up to twice the limit, connections are told 503; past that they are closed at once.
    if (stopping || sessions >= 2 * limits.maxConnections) return;
    session = std::make_shared<Session>(std::move(socket), *this, sessions >= limits.maxConnections);
    ++sessions;
    session->setRegistration(live.insert(live.end(), session));
  }
  session->start();
}

void HttpsServer::State::closeIdleSessions() {
  std::vector<std::shared_ptr<Session>> open;
  {
    std::lock_guard lock(mutex);
    for (const auto& weak : live) {
      if (auto session = weak.lock()) open.push_back(std::move(session));
    }
  }
  for (const auto& session : open) session->closeIfIdle();
}

HttpsServer::HttpsServer(SslContextPtr context, int port, ServerLimits limits, Handler handler)
    : state_(std::make_unique<State>(std::move(context), limits, std::move(handler))) {
  try {
    state_->acceptor.emplace(net::make_strand(*state_->io));
    const tcp::endpoint at(net::ip::address_v4::loopback(), static_cast<unsigned short>(port));
    state_->acceptor->open(at.protocol());
    state_->acceptor->set_option(net::socket_base::reuse_address(true));
    state_->acceptor->bind(at);
    state_->acceptor->listen(net::socket_base::max_listen_connections);
    port_ = state_->acceptor->local_endpoint().port();
  } catch (const std::exception&) {
    throw std::runtime_error("cannot listen on 127.0.0.1:" + std::to_string(port));
  }
  state_->acceptPause.emplace(state_->acceptor->get_executor());
  state_->accept();
  for (int i = 0; i < std::max(1, limits.threads); ++i) threads_.emplace_back([this] { runContained(*state_->io); });
}

HttpsServer::~HttpsServer() {
  stop();
  {
    std::unique_lock lock(state_->mutex);
    state_->ended.wait_for(lock, kStopGrace, [this] { return state_->sessions == 0; });
  }
  state_->io->stop();
  for (std::thread& thread : threads_) thread.join();
  // Destroys the connections still open while the state they report to is alive.
  state_->acceptPause.reset();
  state_->acceptor.reset();
  state_->io.reset();
}

void HttpsServer::stop() {
  if (state_->stopping.exchange(true)) return;
  net::post(state_->acceptor->get_executor(), [state = state_.get()] {
    beast::error_code ignored;
    state->acceptor->close(ignored);
    state->acceptPause->cancel();
  });
  state_->closeIdleSessions();
}

}  // namespace zelvo::collector
