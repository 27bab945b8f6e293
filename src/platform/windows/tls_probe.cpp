#include "platform/windows/tls_probe.h"

#include <winsock2.h>
#include <ws2tcpip.h>
// After the sockets, which they need.
#define SECURITY_WIN32
#include <schannel.h>
#include <security.h>
#include <sspi.h>

#include <algorithm>
#include <mutex>
#include <vector>

#include "platform/windows/wide_text.h"

namespace zelvo::windows_platform {
namespace {

constexpr size_t kMaxHandshakeBytes = 256 * 1024;

HttpError failure(HttpError::Kind kind, std::string text) { return HttpError{std::move(text), {}, kind}; }

bool winsockReady() {
  static const bool ready = [] {
    WSADATA data{};
    return WSAStartup(MAKEWORD(2, 2), &data) == 0;
  }();
  return ready;
}

long long millisLeft(TlsProbe::Clock::time_point deadline) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(deadline - TlsProbe::Clock::now()).count();
}

bool isAddressLiteral(const std::string& host) {
  in6_addr any{};
  return InetPtonA(AF_INET, host.c_str(), &any) == 1 || InetPtonA(AF_INET6, host.c_str(), &any) == 1;
}

}  // namespace

struct TlsProbe::State {
  std::mutex mutex;
  SOCKET socket = INVALID_SOCKET;  // guarded by mutex
  bool cancelled = false;          // guarded by mutex

  // Blocking reads and writes, each limited by what is left of the deadline.
  std::optional<HttpError> sendAll(SOCKET s, const char* data, size_t size, Clock::time_point deadline) {
    while (size > 0) {
      const DWORD limit = static_cast<DWORD>(std::max(1LL, millisLeft(deadline)));
      setsockopt(s, SOL_SOCKET, SO_SNDTIMEO, reinterpret_cast<const char*>(&limit), sizeof limit);
      const int sent = send(s, data, static_cast<int>(std::min<size_t>(size, 1 << 20)), 0);
      if (sent <= 0) return lost(deadline);
      data += sent;
      size -= static_cast<size_t>(sent);
    }
    return std::nullopt;
  }
  std::optional<HttpError> receiveSome(SOCKET s, std::vector<char>& into, Clock::time_point deadline) {
    if (millisLeft(deadline) <= 0) return failure(HttpError::Kind::kTimeout, "TLS handshake timed out");
    const DWORD limit = static_cast<DWORD>(millisLeft(deadline));
    setsockopt(s, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&limit), sizeof limit);
    char buffer[16384];
    const int got = recv(s, buffer, sizeof buffer, 0);
    if (got <= 0) return got == 0 ? failure(HttpError::Kind::kConnection, "the server closed the connection") : lost(deadline);
    if (into.size() + static_cast<size_t>(got) > kMaxHandshakeBytes) {
      return failure(HttpError::Kind::kTls, "TLS handshake too long");
    }
    into.insert(into.end(), buffer, buffer + got);
    return std::nullopt;
  }
  HttpError lost(Clock::time_point deadline) {
    if (isCancelled()) return failure(HttpError::Kind::kOther, "cancelled");
    if (millisLeft(deadline) <= 0) return failure(HttpError::Kind::kTimeout, "TLS handshake timed out");
    return failure(HttpError::Kind::kConnection, "connection lost: " + errorText(static_cast<unsigned long>(WSAGetLastError())));
  }
  bool isCancelled() {
    std::lock_guard lock(mutex);
    return cancelled;
  }

  std::variant<SOCKET, HttpError> connectTo(const std::string& host, uint16_t port, Clock::time_point deadline);
  std::optional<HttpError> tunnel(SOCKET s, const TlsProbeTarget& target, Clock::time_point deadline);
  std::variant<Certificate, HttpError> handshake(SOCKET s, const std::string& serverName, Clock::time_point deadline);
};

std::variant<SOCKET, HttpError> TlsProbe::State::connectTo(const std::string& host, uint16_t port,
                                                          Clock::time_point deadline) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_protocol = IPPROTO_TCP;
  addrinfo* found = nullptr;
  std::string name = host;
  if (name.size() > 2 && name.front() == '[') name = name.substr(1, name.size() - 2);
  if (getaddrinfo(name.c_str(), std::to_string(port).c_str(), &hints, &found) != 0 || found == nullptr) {
    return failure(HttpError::Kind::kConnection, "cannot resolve " + host);
  }
  std::optional<HttpError> last;
  for (addrinfo* address = found; address != nullptr; address = address->ai_next) {
    SOCKET s = ::socket(address->ai_family, address->ai_socktype, address->ai_protocol);
    if (s == INVALID_SOCKET) continue;
    {
      std::lock_guard lock(mutex);
      if (cancelled) {
        closesocket(s);
        freeaddrinfo(found);
        return failure(HttpError::Kind::kOther, "cancelled");
      }
      socket = s;
    }
    u_long nonBlocking = 1;
    ioctlsocket(s, FIONBIO, &nonBlocking);
    bool connected = ::connect(s, address->ai_addr, static_cast<int>(address->ai_addrlen)) == 0;
    if (!connected && WSAGetLastError() == WSAEWOULDBLOCK) {
      fd_set writable, failed;
      FD_ZERO(&writable);
      FD_ZERO(&failed);
      FD_SET(s, &writable);
      FD_SET(s, &failed);
      const long long left = std::max(0LL, millisLeft(deadline));
      timeval limit{static_cast<long>(left / 1000), static_cast<long>(left % 1000 * 1000)};
      const int ready = select(0, nullptr, &writable, &failed, &limit);
      int error = 0;
      int size = sizeof error;
      getsockopt(s, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size);
      connected = ready > 0 && FD_ISSET(s, &writable) && error == 0;
      if (ready == 0) last = failure(HttpError::Kind::kTimeout, "connecting to " + host + " timed out");
    }
    if (connected) {
      nonBlocking = 0;
      ioctlsocket(s, FIONBIO, &nonBlocking);
      freeaddrinfo(found);
      return s;
    }
    if (!last || last->kind != HttpError::Kind::kTimeout) {
      last = failure(HttpError::Kind::kConnection, "cannot connect to " + host + ":" + std::to_string(port));
    }
  }
  freeaddrinfo(found);
  if (isCancelled()) return failure(HttpError::Kind::kOther, "cancelled");
  return last ? *last : failure(HttpError::Kind::kConnection, "cannot connect to " + host);
}

std::optional<HttpError> TlsProbe::State::tunnel(SOCKET s, const TlsProbeTarget& target, Clock::time_point deadline) {
  const std::string authority = target.serverName + ":" + std::to_string(target.connectPort);
  const std::string request = "CONNECT " + authority + " HTTP/1.1\r\nHost: " + authority + "\r\n\r\n";
  if (auto error = sendAll(s, request.data(), request.size(), deadline)) return error;
  std::vector<char> answer;
  while (std::string_view(answer.data(), answer.size()).find("\r\n\r\n") == std::string_view::npos) {
    if (answer.size() > 16384) return failure(HttpError::Kind::kConnection, "the proxy's answer is too long");
    if (auto error = receiveSome(s, answer, deadline)) return error;
  }
  const std::string_view status(answer.data(), answer.size());
  if (!(status.starts_with("HTTP/1.1 200") || status.starts_with("HTTP/1.0 200"))) {
    return failure(HttpError::Kind::kConnection, "the proxy refused the tunnel: " +
                                                     std::string(status.substr(0, status.find('\r'))));
  }
  return std::nullopt;
}

std::variant<Certificate, HttpError> TlsProbe::State::handshake(SOCKET s, const std::string& serverName,
                                                               Clock::time_point deadline) {
  SCHANNEL_CRED credentials{};
  credentials.dwVersion = SCHANNEL_CRED_VERSION;
  credentials.dwFlags = SCH_CRED_MANUAL_CRED_VALIDATION | SCH_CRED_NO_DEFAULT_CREDS;
  CredHandle credential{};
  if (AcquireCredentialsHandleW(nullptr, const_cast<wchar_t*>(UNISP_NAME_W), SECPKG_CRED_OUTBOUND, nullptr,
                                &credentials, nullptr, nullptr, &credential, nullptr) != SEC_E_OK) {
    return failure(HttpError::Kind::kTls, "Schannel has no credentials");
  }
  std::wstring name = isAddressLiteral(serverName) ? std::wstring() : toWide(serverName);
  const DWORD flags = ISC_REQ_SEQUENCE_DETECT | ISC_REQ_REPLAY_DETECT | ISC_REQ_CONFIDENTIALITY |
                      ISC_REQ_ALLOCATE_MEMORY | ISC_REQ_STREAM | ISC_REQ_MANUAL_CRED_VALIDATION;
  CtxtHandle context{};
  bool haveContext = false;
  std::vector<char> input;
  bool needInput = false;
  std::variant<Certificate, HttpError> result = failure(HttpError::Kind::kTls, "TLS handshake failed");
  for (;;) {
    if (needInput) {
      if (auto error = receiveSome(s, input, deadline)) {
        result = *error;
        break;
      }
    }
    SecBuffer inBuffers[2] = {{static_cast<unsigned long>(input.size()), SECBUFFER_TOKEN, input.data()},
                              {0, SECBUFFER_EMPTY, nullptr}};
    SecBufferDesc inDescription{SECBUFFER_VERSION, 2, inBuffers};
    SecBuffer outBuffer{0, SECBUFFER_TOKEN, nullptr};
    SecBufferDesc outDescription{SECBUFFER_VERSION, 1, &outBuffer};
    unsigned long attributes = 0;
    const SECURITY_STATUS status = InitializeSecurityContextW(
        &credential, haveContext ? &context : nullptr, name.empty() ? nullptr : name.data(), flags, 0, 0,
        haveContext ? &inDescription : nullptr, 0, haveContext ? nullptr : &context, &outDescription, &attributes,
        nullptr);
    if (status == SEC_E_OK || status == SEC_I_CONTINUE_NEEDED) haveContext = true;
    if (outBuffer.pvBuffer != nullptr) {
      std::optional<HttpError> error;
      if (outBuffer.cbBuffer > 0) error = sendAll(s, static_cast<const char*>(outBuffer.pvBuffer), outBuffer.cbBuffer, deadline);
      FreeContextBuffer(outBuffer.pvBuffer);
      if (error) {
        result = *error;
        break;
      }
    }
    if (status == SEC_E_OK) {
      PCCERT_CONTEXT certificate = nullptr;
      if (QueryContextAttributesW(&context, SECPKG_ATTR_REMOTE_CERT_CONTEXT, &certificate) == SEC_E_OK && certificate) {
        result = Certificate(certificate);
      } else {
        result = failure(HttpError::Kind::kTls, "the server sent no certificate");
      }
      break;
    }
    if (status == SEC_E_INCOMPLETE_MESSAGE) {
      needInput = true;
    } else if (status == SEC_I_CONTINUE_NEEDED) {
      // Bytes of the next handshake message that came with this one are used before reading.
      if (inBuffers[1].BufferType == SECBUFFER_EXTRA && inBuffers[1].cbBuffer > 0) {
        input.erase(input.begin(), input.end() - inBuffers[1].cbBuffer);
        needInput = false;
      } else {
        input.clear();
        needInput = true;
      }
    } else {
      result = failure(HttpError::Kind::kTls, "TLS handshake failed: " + errorText(static_cast<unsigned long>(status)));
      break;
    }
  }
  if (haveContext) DeleteSecurityContext(&context);
  FreeCredentialsHandle(&credential);
  return result;
}

TlsProbe::TlsProbe() : state_(std::make_shared<State>()) {}

TlsProbe::~TlsProbe() = default;

std::variant<Certificate, HttpError> TlsProbe::run(const TlsProbeTarget& target, Clock::time_point deadline,
                                                  std::chrono::milliseconds connectLimit) {
  if (!winsockReady()) return failure(HttpError::Kind::kOther, "Winsock cannot start");
  std::string host = target.connectHost;
  uint16_t port = target.connectPort;
  if (target.proxy) {
    const size_t colon = target.proxy->rfind(':');
    host = target.proxy->substr(0, colon);
    port = colon == std::string::npos ? 80 : static_cast<uint16_t>(std::stoi(target.proxy->substr(colon + 1)));
  }
  auto connected = state_->connectTo(host, port, std::min(deadline, Clock::now() + connectLimit));
  if (auto* error = std::get_if<HttpError>(&connected)) return *error;
  const SOCKET s = std::get<SOCKET>(connected);
  std::optional<HttpError> tunnelError;
  if (target.proxy) tunnelError = state_->tunnel(s, target, deadline);
  std::variant<Certificate, HttpError> result =
      tunnelError ? std::variant<Certificate, HttpError>(*tunnelError) : state_->handshake(s, target.serverName, deadline);
  std::lock_guard lock(state_->mutex);
  if (state_->socket != INVALID_SOCKET) closesocket(state_->socket);
  state_->socket = INVALID_SOCKET;
  return result;
}

void TlsProbe::cancel() {
  std::lock_guard lock(state_->mutex);
  state_->cancelled = true;
  // Closing makes the blocked call on the other thread return with an error.
  if (state_->socket != INVALID_SOCKET) closesocket(state_->socket);
  state_->socket = INVALID_SOCKET;
}

}  // namespace zelvo::windows_platform
