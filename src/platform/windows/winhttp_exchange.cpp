#include "platform/windows/winhttp_exchange.h"

#include <algorithm>
#include <cmath>

#include "platform/windows/wide_text.h"

namespace zelvo::windows_platform {
namespace {

using Clock = std::chrono::steady_clock;

bool hasLineBreakOrNul(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos;
}

// At least a millisecond, at most a day, like the Linux client.
std::chrono::milliseconds limitOf(double seconds) {
  constexpr double kMax = 24.0 * 60 * 60 * 1000;
  const double millis = seconds * 1000.0;
  if (!(millis >= 1.0)) return std::chrono::milliseconds(1);
  return std::chrono::milliseconds(std::llround(std::fmin(millis, kMax)));
}

int millisLeft(Clock::time_point deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 1, 24LL * 60 * 60 * 1000));
}

struct Handle {
  HINTERNET value = nullptr;
  ~Handle() {
    if (value != nullptr) WinHttpCloseHandle(value);
  }
};

}  // namespace

bool WinHttpExchange::isCancelled() {
  std::lock_guard lock(mutex_);
  return cancelled_;
}

void WinHttpExchange::cancel() {
  std::lock_guard lock(mutex_);
  cancelled_ = true;
  probe_.cancel();
  // Closing a handle makes the blocking WinHTTP call on the other thread fail at once.
  if (handle_ != nullptr) WinHttpCloseHandle(handle_);
  handle_ = nullptr;
}

HttpError WinHttpExchange::lastError(const char* during) {
  const DWORD code = GetLastError();
  if (isCancelled() || code == ERROR_WINHTTP_OPERATION_CANCELLED) return error(HttpError::Kind::kOther, "cancelled");
  HttpError::Kind kind = HttpError::Kind::kOther;
  switch (code) {
    case ERROR_WINHTTP_TIMEOUT:
      kind = HttpError::Kind::kTimeout;
      break;
    case ERROR_WINHTTP_CANNOT_CONNECT:
    case ERROR_WINHTTP_CONNECTION_ERROR:
    case ERROR_WINHTTP_NAME_NOT_RESOLVED:
    case ERROR_WINHTTP_INVALID_SERVER_RESPONSE:
      kind = HttpError::Kind::kConnection;
      break;
    case ERROR_WINHTTP_SECURE_FAILURE:
    case ERROR_WINHTTP_SECURE_INVALID_CA:
    case ERROR_WINHTTP_SECURE_CERT_DATE_INVALID:
    case ERROR_WINHTTP_SECURE_CERT_CN_INVALID:
    case ERROR_WINHTTP_SECURE_CERT_REVOKED:
    case ERROR_WINHTTP_SECURE_INVALID_CERT:
    case ERROR_WINHTTP_SECURE_CHANNEL_ERROR:
      kind = HttpError::Kind::kTls;
      break;
    default:
      break;
  }
  return error(kind, std::string(during) + ": " + errorText(code));
}

HttpResult WinHttpExchange::run(std::string* body) {
  const std::string& url = request_.url;
  if (setup_.error) return error(HttpError::Kind::kOther, "not sent: " + *setup_.error);
  if (hasLineBreakOrNul(url)) return error(HttpError::Kind::kOther, "malformed URL");
  // Moved onto the host's endpoint at the last moment: answers and errors name the URL the
  // library asked for, which is how it finds the request an answer belongs to.
  const std::wstring target = toWide(setup_.endpoint ? setup_.endpoint->map(url) : url);
  URL_COMPONENTS parts{};
  parts.dwStructSize = sizeof parts;
  parts.dwHostNameLength = parts.dwUrlPathLength = parts.dwExtraInfoLength = static_cast<DWORD>(-1);
  if (!WinHttpCrackUrl(target.c_str(), static_cast<DWORD>(target.size()), 0, &parts) ||
      parts.nScheme != INTERNET_SCHEME_HTTPS) {
    return error(HttpError::Kind::kOther, "refused URL");
  }
  const std::string host = toUtf8(std::wstring_view(parts.lpszHostName, parts.dwHostNameLength));
  const std::wstring pathAndQuery = std::wstring(parts.lpszUrlPath, parts.dwUrlPathLength) +
                                    std::wstring(parts.lpszExtraInfo, parts.dwExtraInfoLength);
  const auto [connectHost, connectPort] = setup_.connectionFor(host, parts.nPort);
  const bool proxied = setup_.proxies(host);

  const Clock::time_point deadline =
      Clock::now() + (setup_.requestTimeout ? *setup_.requestTimeout : limitOf(request_.timeoutSeconds));
  const std::chrono::milliseconds connectLimit =
      setup_.connectTimeout ? *setup_.connectTimeout : std::chrono::milliseconds(millisLeft(deadline));

  // The certificate first: nothing of the request leaves before it passed.
  auto probed = probe_.run({connectHost, connectPort, host, proxied ? setup_.proxy : std::nullopt}, deadline,
                           connectLimit);
  if (auto* failed = std::get_if<HttpError>(&probed)) return error(failed->kind, failed->description);
  const Certificate& checked = std::get<Certificate>(probed);
  if (auto problem = setup_.check.problemWith(checked.get(), host)) return error(HttpError::Kind::kTls, *problem);

  std::string connectName = connectHost;
  if (connectName.size() > 2 && connectName.front() == '[') connectName = connectName.substr(1, connectName.size() - 2);
  Handle connection{WinHttpConnect(setup_.session, toWide(connectName).c_str(), connectPort, 0)};
  if (connection.value == nullptr) return lastError("cannot connect");
  const DWORD flags = WINHTTP_FLAG_SECURE | (request_.ignoreCaches ? WINHTTP_FLAG_REFRESH : 0);
  HINTERNET request = WinHttpOpenRequest(connection.value, L"GET", pathAndQuery.c_str(), nullptr, WINHTTP_NO_REFERER,
                                         WINHTTP_DEFAULT_ACCEPT_TYPES, flags);
  if (request == nullptr) return lastError("cannot make the request");
  {
    std::lock_guard lock(mutex_);
    if (cancelled_) {
      WinHttpCloseHandle(request);
      return error(HttpError::Kind::kOther, "cancelled");
    }
    handle_ = request;
  }
  Sending how{deadline, connectLimit, proxied, checked.get(), std::nullopt};
  if (connectHost != host || connectPort != parts.nPort) {
    how.hostHeader = parts.nPort == INTERNET_DEFAULT_HTTPS_PORT ? host : host + ":" + std::to_string(parts.nPort);
  }
  HttpResult result = send(request, how, body);
  std::lock_guard lock(mutex_);
  if (handle_ != nullptr) WinHttpCloseHandle(handle_);
  handle_ = nullptr;
  if (cancelled_) return error(HttpError::Kind::kOther, "cancelled");
  return result;
}

HttpResult WinHttpExchange::send(HINTERNET request, const Sending& how, std::string* body) {
  // The certificate was checked above, by our own rules; WinHTTP's would refuse a CA file's
  // authority and, under Wine, a certificate naming an IP address.
  DWORD security = SECURITY_FLAG_IGNORE_CERT_CN_INVALID | (setup_.ownRoots ? SECURITY_FLAG_IGNORE_UNKNOWN_CA : 0);
  DWORD redirects = WINHTTP_OPTION_REDIRECT_POLICY_NEVER;
  WinHttpSetOption(request, WINHTTP_OPTION_SECURITY_FLAGS, &security, sizeof security);
  WinHttpSetOption(request, WINHTTP_OPTION_REDIRECT_POLICY, &redirects, sizeof redirects);
  if (!how.proxied && setup_.proxy) {
    WINHTTP_PROXY_INFO direct{WINHTTP_ACCESS_TYPE_NO_PROXY, nullptr, nullptr};
    WinHttpSetOption(request, WINHTTP_OPTION_PROXY, &direct, sizeof direct);
  }
  const int left = millisLeft(how.deadline);
  WinHttpSetTimeouts(request, left, std::min(left, static_cast<int>(how.connectLimit.count())), left, left);

  std::string headers;
  for (const auto& [name, value] : request_.headers) {
    if (hasLineBreakOrNul(name) || hasLineBreakOrNul(value)) {
      return error(HttpError::Kind::kOther, "header with a line break: " + name);
    }
    headers += name + ": " + value + "\r\n";
  }
  // A mapped connection still asks for the URL's own host.
  if (how.hostHeader) headers += "Host: " + *how.hostHeader + "\r\n";
  if (request_.ignoreCaches) headers += "Cache-Control: no-cache\r\nPragma: no-cache\r\n";
  const std::wstring wideHeaders = toWide(headers);
  if (!WinHttpSendRequest(request, wideHeaders.empty() ? WINHTTP_NO_ADDITIONAL_HEADERS : wideHeaders.c_str(),
                          static_cast<DWORD>(wideHeaders.size()), WINHTTP_NO_REQUEST_DATA, 0, 0, 0)) {
    return lastError("cannot send");
  }
  if (!WinHttpReceiveResponse(request, nullptr)) return lastError("no answer");

  PCCERT_CONTEXT seen = nullptr;
  DWORD size = sizeof seen;
  if (!WinHttpQueryOption(request, WINHTTP_OPTION_SERVER_CERT_CONTEXT, &seen, &size) || seen == nullptr) {
    return error(HttpError::Kind::kTls, "the answer came without a certificate");
  }
  const bool same = CertCompareCertificate(X509_ASN_ENCODING, seen->pCertInfo, how.checked->pCertInfo);
  CertFreeCertificateContext(seen);
  if (!same) return error(HttpError::Kind::kTls, "the server's certificate is not the one checked");

  DWORD status = 0;
  size = sizeof status;
  if (!WinHttpQueryHeaders(request, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER, WINHTTP_HEADER_NAME_BY_INDEX,
                           &status, &size, WINHTTP_NO_HEADER_INDEX)) {
    return lastError("no status");
  }
  if (body != nullptr) {
    char buffer[16384];
    DWORD read = 0;
    do {
      if (!WinHttpReadData(request, buffer, sizeof buffer, &read)) return lastError("cannot read the body");
      if (body->size() + read > setup_.maxBodyBytes) return error(HttpError::Kind::kOther, "the body is too large");
      body->append(buffer, read);
    } while (read > 0);
  }
  return HttpResponse{static_cast<int>(status), request_.url};
}

}  // namespace zelvo::windows_platform
