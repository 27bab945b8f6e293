#include "collector/http_head.h"

#include <cctype>

namespace zelvo::collector {
namespace {

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

bool isTargetText(std::string_view text) {
  if (text.empty()) return false;
  for (unsigned char c : text) {
    if (c <= ' ' || c == 0x7f) return false;
  }
  return true;
}

bool isToken(std::string_view text) {
  if (text.empty()) return false;
  for (unsigned char c : text) {
    if (!std::isalnum(c) && std::string_view("!#$%&'*+-.^_`|~").find(static_cast<char>(c)) == std::string_view::npos) {
      return false;
    }
  }
  return true;
}

const char* reasonPhrase(int status) {
  switch (status) {
    case 200: return "OK";
    case 202: return "Accepted";
    case 204: return "No Content";
    case 400: return "Bad Request";
    case 404: return "Not Found";
    case 500: return "Internal Server Error";
    case 502: return "Bad Gateway";
    case 503: return "Service Unavailable";
    case 504: return "Gateway Timeout";
    default: return "Status";
  }
}

}  // namespace

std::string RequestHead::header(const std::string& lowerCaseName) const {
  const auto found = headers.find(lowerCaseName);
  return found == headers.end() ? std::string() : found->second;
}

std::optional<RequestHead> parseRequestHead(std::string_view head) {
  RequestHead request;
  const size_t lineEnd = head.find("\r\n");
  const std::string_view line = head.substr(0, lineEnd);
  const size_t firstBlank = line.find(' ');
  const size_t lastBlank = line.rfind(' ');
  if (firstBlank == std::string_view::npos || lastBlank == firstBlank) return std::nullopt;
  const std::string_view method = line.substr(0, firstBlank);
  const std::string_view target = line.substr(firstBlank + 1, lastBlank - firstBlank - 1);
  const std::string_view version = line.substr(lastBlank + 1);
  if (!isToken(method) || !isTargetText(target) || !version.starts_with("HTTP/1.")) return std::nullopt;
  request.method = method;
  request.target = target;

  std::string_view fields = lineEnd == std::string_view::npos ? std::string_view() : head.substr(lineEnd + 2);
  while (!fields.empty()) {
    const size_t end = fields.find("\r\n");
    const std::string_view field = fields.substr(0, end);
    fields = end == std::string_view::npos ? std::string_view() : fields.substr(end + 2);
    const size_t colon = field.find(':');
    if (colon == std::string_view::npos || !isToken(field.substr(0, colon))) return std::nullopt;
    std::string name(field.substr(0, colon));
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    request.headers[name] = std::string(trimmed(field.substr(colon + 1)));
  }
  return request;
}

std::string responseText(int status, std::string_view contentType, std::string_view body) {
  std::string text = "HTTP/1.1 " + std::to_string(status) + " " + reasonPhrase(status) + "\r\n";
  if (!contentType.empty()) text += "Content-Type: " + std::string(contentType) + "\r\n";
  text += "Content-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n";
  text += body;
  return text;
}

}  // namespace zelvo::collector
