#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace zelvo::collector {

// A blocking client of the collector's tests, speaking TLS without checking the certificate,
// or raw bytes. Every read and write gives up after five seconds.
class TestClient {
 public:
  explicit TestClient(int port) : context_(SSL_CTX_new(TLS_client_method()), SSL_CTX_free) {
    fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval patience{5, 0};
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    const int yes = 1;
    setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    connected_ = ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  }
  ~TestClient() {
    if (ssl_) SSL_free(ssl_);
    ::close(fd_);
  }
  TestClient(const TestClient&) = delete;
  TestClient& operator=(const TestClient&) = delete;

  bool handshake() {
    ssl_ = SSL_new(context_.get());
    SSL_set_fd(ssl_, fd_);
    return connected_ && SSL_connect(ssl_) == 1;
  }

  bool send(std::string_view bytes) {
    while (!bytes.empty()) {
      const int sent = ssl_ ? SSL_write(ssl_, bytes.data(), static_cast<int>(bytes.size()))
                            : static_cast<int>(::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL));
      if (sent <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
  }

  // Reads one answer; its status, or -1 when none came whole.
  int readAnswer() {
    std::size_t headEnd;
    while ((headEnd = received_.find("\r\n\r\n")) == std::string::npos) {
      if (!receive()) return -1;
    }
    const std::string head = received_.substr(0, headEnd);
    const std::size_t length = head.find("Content-Length: ");
    const std::size_t total = headEnd + 4 + (length == std::string::npos ? 0 : std::strtoul(head.c_str() + length + 16, nullptr, 10));
    while (received_.size() < total) {
      if (!receive()) return -1;
    }
    received_.erase(0, total);
    return head.rfind("HTTP/1.1 ", 0) == 0 ? std::atoi(head.c_str() + 9) : -1;
  }

  // GET `target` with the given extra header lines; the answer's status, or -1.
  int get(std::string_view target, std::string_view headers = "") {
    std::string request = "GET ";
    request += target;
    request += " HTTP/1.1\r\nHost: ping.zelvo-analytics.net\r\n";
    request += headers;
    request += "\r\n";
    return send(request) ? readAnswer() : -1;
  }

  // What arrives up to and including `marker`; empty when the connection ends before it.
  std::string readUntil(std::string_view marker) {
    std::size_t at;
    while ((at = received_.find(marker)) == std::string::npos) {
      if (!receive()) return {};
    }
    std::string read = received_.substr(0, at + marker.size());
    received_.erase(0, at + marker.size());
    return read;
  }

  // Whether the server closes the connection within five seconds (what it sends first, an
  // alert or a close_notify, is read and dropped).
  bool closedByServer() {
    char buffer[4096];
    for (int reads = 0; reads < 64; ++reads) {
      const ssize_t read = ::recv(fd_, buffer, sizeof buffer, 0);
      if (read == 0 || (read < 0 && errno == ECONNRESET)) return true;
      if (read < 0) return false;
    }
    return false;
  }

  int fd() const { return fd_; }

 private:
  bool receive() {
    char buffer[16 * 1024];
    const int read = ssl_ ? SSL_read(ssl_, buffer, sizeof buffer) : static_cast<int>(::recv(fd_, buffer, sizeof buffer, 0));
    if (read <= 0) return false;
    received_.append(buffer, static_cast<std::size_t>(read));
    return true;
  }

  std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context_;
  SSL* ssl_ = nullptr;
  int fd_ = -1;
  bool connected_ = false;
  std::string received_;
};

// The first bytes a TLS client sends: a real ClientHello, made in memory.
inline std::string clientHello() {
  std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context(SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
  std::unique_ptr<SSL, void (*)(SSL*)> ssl(SSL_new(context.get()), SSL_free);
  BIO* out = BIO_new(BIO_s_mem());
  SSL_set_bio(ssl.get(), BIO_new(BIO_s_mem()), out);
  SSL_set_connect_state(ssl.get());
  SSL_do_handshake(ssl.get());
  char* data = nullptr;
  const long size = BIO_get_mem_data(out, &data);
  return std::string(data, static_cast<std::size_t>(size));
}

}  // namespace zelvo::collector
