#pragma once

// The baseline of the ping benchmarks: one snprintf that writes a ping URL from values that
// are already numbers and escaped text, the least any way of building that URL can cost.

#include <cstdio>
#include <string>

#include "zelvo/constants.h"

namespace zelvo::bench {

inline constexpr const char* kRegularFormat =
    "%sh=%s&d=%s&g=%d&j=%d&u=%s&t=%s&p=%s&c=%.2f&y=%d&o=%d&x=%d&m=%d&f=%s&R=%d&W=%d&I=%d&E=%d&e=%d&Z=%d"
    "&sd=%lld&sr=%s&sv=%s";
inline constexpr const char* kFullFormat = "&n=%d&i=%s&g0=%s,%s&g1=%s&g2=&w=%d&S=%d&lg=%f&lt=%f&V=%s&r=%s&D=%s";

// The URL of a typical ping (full or regular); `path` is the escaped view path.
inline std::string snprintfUrl(bool full, const std::string& path = "/news/2026/03/budget%20talks") {
  static const std::string regular = std::string(kRegularFormat) + "&_";
  static const std::string fullFormat = std::string(kRegularFormat) + kFullFormat + "&_";
  const std::string& format = full ? fullFormat : regular;
  char buffer[4096];
  int length = std::snprintf(
      buffer, sizeof buffer, format.c_str(), kZVPingURLBase, "example.com", "news.example.com", 12345, 0,
      "QUFFQ0F3UUZCZ2NJQ1", "QUFFQ0F3UUZCZ2NJQ1FvTERBME9Ed19f", path.c_str(), static_cast<double>(45.0f / 60.0f),
      8123, 750, 2400, 3100, "0001f", 1, 0, 0, 21, 6, 1, 3LL, "", "U0lURVZJU0lUVUlEVUlEVUlEVUlEVUlE", 0,
      "Budget%20talks%3A%20what%20changes%20%26%20when", "news", "politics", "Jane%20Doe", 1334, 750, 13.404954,
      52.520008, "1009", "com.example.app", "UFJFVklPVVNTRVNTSU9OVE9LRU5UT0tF");
  if (length < 0) return {};
  return std::string(buffer, static_cast<std::size_t>(length) < sizeof buffer ? static_cast<std::size_t>(length)
                                                                                : sizeof buffer - 1);
}

// The path that makes snprintfUrl(false, path) `length` bytes long (give or take when
// `length` is very short): the typical one lengthened or shortened.
inline std::string pathForUrlLength(std::size_t length) {
  const std::string path = "/news/2026/03/budget%20talks";
  const std::size_t typical = snprintfUrl(false, path).size();
  if (length >= typical) return path + std::string(length - typical, 'x');
  return path.substr(0, path.size() - std::min(path.size(), typical - length));
}

}  // namespace zelvo::bench
