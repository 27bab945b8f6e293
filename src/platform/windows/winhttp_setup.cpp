#include "platform/windows/winhttp_setup.h"

#include <algorithm>
#include <charconv>

#include "platform/windows/wide_text.h"

namespace zelvo::windows_platform {
namespace {

std::optional<uint16_t> portOf(std::string_view text) {
  unsigned value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value == 0 || value > 65535) return std::nullopt;
  return static_cast<uint16_t>(value);
}

// Splits at the colons outside [brackets] (an IPv6 address).
std::vector<std::string> fields(std::string_view text) {
  std::vector<std::string> out(1);
  int depth = 0;
  for (char c : text) {
    if (c == '[') ++depth;
    if (c == ']') --depth;
    if (c == ':' && depth == 0) {
      out.emplace_back();
    } else {
      out.back().push_back(c);
    }
  }
  return out;
}

std::optional<ConnectMapping> parseMapping(const std::string& entry) {
  const std::vector<std::string> parts = fields(entry);
  if (parts.size() != 4 || parts[2].empty()) return std::nullopt;
  ConnectMapping mapping;
  mapping.host = asciiLowercase(parts[0]);
  if (!parts[1].empty()) {
    mapping.port = portOf(parts[1]);
    if (!mapping.port) return std::nullopt;
  }
  mapping.toHost = parts[2];
  const std::optional<uint16_t> toPort = portOf(parts[3]);
  if (!toPort) return std::nullopt;
  mapping.toPort = *toPort;
  return mapping;
}

// A proxy as WinHTTP takes it ("host:port"), from "http://host[:port][/]" or "host:port".
std::optional<std::string> proxyAddress(std::string text) {
  if (const size_t scheme = text.find("://"); scheme != std::string::npos) {
    if (asciiLowercase(text.substr(0, scheme)) != "http") return std::nullopt;
    text = text.substr(scheme + 3);
  }
  while (!text.empty() && text.back() == '/') text.pop_back();
  if (text.empty() || text.find_first_of("/@") != std::string::npos) return std::nullopt;
  if (text.back() == ']' || fields(text).size() == 1) text += ":80";
  return text;
}

// The user's fixed proxy for HTTPS ("https=host:port;http=..." or one "host:port" for all).
void readUserProxy(std::optional<std::string>& proxy, std::vector<std::string>& bypass) {
  WINHTTP_CURRENT_USER_IE_PROXY_CONFIG config{};
  if (!WinHttpGetIEProxyConfigForCurrentUser(&config)) return;
  if (config.lpszProxy != nullptr) {
    std::string list = toUtf8(config.lpszProxy);
    for (char& c : list) c = (c == ' ') ? ';' : c;
    size_t start = 0;
    while (start <= list.size()) {
      const size_t end = std::min(list.find(';', start), list.size());
      const std::string entry = list.substr(start, end - start);
      if (entry.starts_with("https=")) {
        proxy = proxyAddress(entry.substr(6));
      } else if (!proxy && !entry.empty() && entry.find('=') == std::string::npos) {
        proxy = proxyAddress(entry);
      }
      start = end + 1;
    }
  }
  if (config.lpszProxyBypass != nullptr) {
    std::string list = toUtf8(config.lpszProxyBypass);
    size_t start = 0;
    while (start <= list.size()) {
      const size_t end = std::min(list.find_first_of("; \t", start), list.size());
      if (end > start) bypass.push_back(asciiLowercase(list.substr(start, end - start)));
      start = end + 1;
    }
  }
  for (LPWSTR text : {config.lpszAutoConfigUrl, config.lpszProxy, config.lpszProxyBypass}) {
    if (text != nullptr) GlobalFree(text);
  }
}

}  // namespace

WinHttpSetup::WinHttpSetup(const WinHttpClientOptions& options)
    : requestTimeout(options.requestTimeout), connectTimeout(options.connectTimeout), maxBodyBytes(options.maxBodyBytes) {
  if (options.refusal) {
    error = options.refusal;
    return;
  }
  if (options.endpoint) {
    auto parsed = WindowsEndpoint::parse(*options.endpoint);
    if (auto* why = std::get_if<std::string>(&parsed)) {
      error = *why;
      return;
    }
    endpoint = std::get<WindowsEndpoint>(std::move(parsed));
  }
  if (options.caFile) {
    auto loaded = CertificateCheck::fromCaFile(*options.caFile);
    if (auto* why = std::get_if<std::string>(&loaded)) {
      error = *why;
      return;
    }
    check = std::get<CertificateCheck>(std::move(loaded));
    ownRoots = true;
  }
  for (const std::string& entry : options.connectTo) {
    auto mapping = parseMapping(entry);
    if (!mapping) {
      error = "the connection mapping \"" + entry + "\" is not HOST:PORT:ADDR:PORT";
      return;
    }
    mappings.push_back(std::move(*mapping));
  }
  if (options.proxy) {
    if (!options.proxy->empty()) {
      proxy = proxyAddress(*options.proxy);
      if (!proxy) {
        error = "the proxy \"" + *options.proxy + "\" is not an http:// proxy, the only kind WinHTTP uses";
        return;
      }
    }
  } else {
    readUserProxy(proxy, bypass);
  }
  session = WinHttpOpen(nullptr, proxy ? WINHTTP_ACCESS_TYPE_NAMED_PROXY : WINHTTP_ACCESS_TYPE_NO_PROXY,
                        proxy ? toWide(*proxy).c_str() : WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0);
  if (session == nullptr) error = "WinHTTP cannot start: " + errorText(GetLastError());
}

WinHttpSetup::~WinHttpSetup() {
  if (session != nullptr) WinHttpCloseHandle(session);
}

bool WinHttpSetup::proxies(const std::string& host) const {
  if (!proxy) return false;
  const std::string name = asciiLowercase(host);
  for (const std::string& rule : bypass) {
    if (rule == "<local>" && name.find('.') == std::string::npos) return false;
    if (rule == name) return false;
    if (rule.starts_with("*") && name.ends_with(rule.substr(1))) return false;
  }
  return true;
}

std::pair<std::string, uint16_t> WinHttpSetup::connectionFor(const std::string& host, uint16_t port) const {
  const std::string name = asciiLowercase(host);
  for (const ConnectMapping& mapping : mappings) {
    if ((mapping.host.empty() || mapping.host == name) && (!mapping.port || *mapping.port == port)) {
      return {mapping.toHost, mapping.toPort};
    }
  }
  return {host, port};
}

}  // namespace zelvo::windows_platform
