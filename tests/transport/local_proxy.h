#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "integration/temp_directory.h"

namespace zelvo::transport {

// A proxy server from Debian on 127.0.0.1 for one test, run as a child process and ended
// (SIGTERM, then reaped) by the destructor: tinyproxy for HTTP CONNECT, microsocks for SOCKS5.
class LocalProxy {
 public:
  enum class Kind { kTinyproxy, kMicrosocks };

  // Starts it on a free port and waits (bounded) until it accepts connections; `connectPort`
  // is the one port tinyproxy lets a CONNECT reach. ready() says whether it came up.
  LocalProxy(Kind kind, int connectPort);
  ~LocalProxy();
  LocalProxy(const LocalProxy&) = delete;
  LocalProxy& operator=(const LocalProxy&) = delete;

  bool ready() const { return ready_; }
  // "http://127.0.0.1:PORT" or "socks5h://127.0.0.1:PORT".
  std::string url() const;
  // Whether the proxy logged a tunnel to "localhost:`port`" (both log each one they open).
  bool tunnelled(int port) const;

  // A port on 127.0.0.1 where nothing listens (the kernel gave it out and it was closed again).
  static int freePort();
  // Whether the program is installed (scripts/install-deps.sh installs both).
  static bool installed(Kind kind);

 private:
  Kind kind_;
  int port_;
  integration::TempDirectory directory_;
  std::string configFile_;
  std::string logFile_;
  pid_t child_ = -1;
  bool ready_ = false;
};

}  // namespace zelvo::transport
