#include "collector/https_listener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <utility>

namespace zelvo::collector {
namespace {

constexpr std::size_t kMaxHeadBytes = 64 * 1024;
constexpr auto kConnectionLimit = std::chrono::seconds(3);
constexpr int kPollMilliseconds = 100;

void check(bool ok, const std::string& what) {
  if (!ok) throw std::runtime_error(what);
}

SslContextPtr newContext() {
  SslContextPtr context(SSL_CTX_new(TLS_server_method()));
  check(context != nullptr, "SSL_CTX_new failed");
  SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
  return context;
}

struct SslFree {
  void operator()(SSL* ssl) const { SSL_free(ssl); }
};

}  // namespace

SslContextPtr serverContext(const tls::KeyAndCertificate& identity) {
  SslContextPtr context = newContext();
  check(SSL_CTX_use_certificate(context.get(), identity.certificate.get()) == 1 &&
            SSL_CTX_use_PrivateKey(context.get(), identity.key.get()) == 1,
        "cannot use the made certificate");
  return context;
}

SslContextPtr serverContext(const std::string& certificateFile, const std::string& keyFile) {
  SslContextPtr context = newContext();
  check(SSL_CTX_use_certificate_chain_file(context.get(), certificateFile.c_str()) == 1 &&
            SSL_CTX_use_PrivateKey_file(context.get(), keyFile.c_str(), SSL_FILETYPE_PEM) == 1 &&
            SSL_CTX_check_private_key(context.get()) == 1,
        "cannot use the certificate " + certificateFile + " with the key " + keyFile);
  return context;
}

HttpsListener::HttpsListener(SslContextPtr context, int port, Handler handler)
    : context_(std::move(context)), handler_(std::move(handler)) {
  socket_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  check(socket_ >= 0, "cannot make a socket");
  const int yes = 1;
  setsockopt(socket_, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(port));
  socklen_t length = sizeof address;
  if (::bind(socket_, reinterpret_cast<sockaddr*>(&address), length) != 0 || ::listen(socket_, 16) != 0 ||
      ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    ::close(socket_);
    throw std::runtime_error("cannot listen on 127.0.0.1:" + std::to_string(port));
  }
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { run(); });
}

HttpsListener::~HttpsListener() {
  stop();
  thread_.join();
  ::close(socket_);
}

void HttpsListener::run() {
  // A client that goes away while it is answered must not end the process.
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
  while (!stopping_) {
    pollfd waiting{socket_, POLLIN, 0};
    if (::poll(&waiting, 1, kPollMilliseconds) <= 0) continue;
    const int connection = ::accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) continue;
    serve(connection);
    ::close(connection);
  }
}

void HttpsListener::serve(int connection) {
  // Every blocking read and write gives up after a second; the whole exchange after three.
  const timeval patience{1, 0};
  setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
  const auto deadline = std::chrono::steady_clock::now() + kConnectionLimit;
  std::unique_ptr<SSL, SslFree> ssl(SSL_new(context_.get()));
  if (!ssl || SSL_set_fd(ssl.get(), connection) != 1 || SSL_accept(ssl.get()) != 1) return;

  std::string received;
  size_t headEnd = std::string::npos;
  char buffer[4096];
  while (headEnd == std::string::npos && received.size() < kMaxHeadBytes &&
         std::chrono::steady_clock::now() < deadline && !stopping_) {
    const int read = SSL_read(ssl.get(), buffer, sizeof buffer);
    if (read <= 0) return;
    received.append(buffer, static_cast<size_t>(read));
    headEnd = received.find("\r\n\r\n");
  }
  if (headEnd == std::string::npos) return;

  const std::optional<RequestHead> head = parseRequestHead(std::string_view(received).substr(0, headEnd));
  const Answer answer = head ? handler_(*head) : Answer{400, "", ""};
  const std::string response = responseText(answer.status, answer.contentType, answer.body);
  size_t written = 0;
  while (written < response.size() && std::chrono::steady_clock::now() < deadline) {
    const int sent = SSL_write(ssl.get(), response.data() + written, static_cast<int>(response.size() - written));
    if (sent <= 0) return;
    written += static_cast<size_t>(sent);
  }
  SSL_shutdown(ssl.get());
}

}  // namespace zelvo::collector
