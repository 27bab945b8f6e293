#include "transport/local_proxy.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "integration/bounded_wait.h"
#include "integration/temp_directory.h"

extern char** environ;

namespace zelvo::transport {
namespace {

const char* programOf(LocalProxy::Kind kind) {
  return kind == LocalProxy::Kind::kTinyproxy ? "/usr/bin/tinyproxy" : "/usr/bin/microsocks";
}

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(port));
  return address;
}

bool accepts(int port) {
  const int probe = socket(AF_INET, SOCK_STREAM, 0);
  const sockaddr_in address = loopback(port);
  const bool connected = connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  close(probe);
  return connected;
}

}  // namespace

int LocalProxy::freePort() {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = loopback(0);
  socklen_t length = sizeof address;
  bind(listener, reinterpret_cast<sockaddr*>(&address), length);
  getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
  close(listener);
  return ntohs(address.sin_port);
}

bool LocalProxy::installed(Kind kind) { return access(programOf(kind), X_OK) == 0; }

LocalProxy::LocalProxy(Kind kind, int connectPort)
    : kind_(kind), port_(freePort()), configFile_(directory_.file("tinyproxy.conf")), logFile_(directory_.file("log")) {
  const std::string port = std::to_string(port_);
  std::vector<std::string> arguments{programOf(kind)};
  if (kind == Kind::kTinyproxy) {
    std::ofstream(configFile_) << "Port " << port << "\nListen 127.0.0.1\nTimeout 5\nAllow 127.0.0.1\n"
                               << "ConnectPort " << connectPort << "\nLogLevel Connect\nMaxClients 8\n";
    arguments.insert(arguments.end(), {"-d", "-c", configFile_});
  } else {
    arguments.insert(arguments.end(), {"-i", "127.0.0.1", "-p", port});
  }
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, logFile_.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  if (posix_spawn(&child_, argv[0], &actions, nullptr, argv.data(), environ) != 0) child_ = -1;
  posix_spawn_file_actions_destroy(&actions);
  ready_ = child_ > 0 && integration::eventually([this] { return accepts(port_); });
}

LocalProxy::~LocalProxy() {
  if (child_ > 0) {
    kill(child_, SIGTERM);
    waitpid(child_, nullptr, 0);
  }
}

bool LocalProxy::tunnelled(int port) const {
  std::ifstream log(logFile_);
  const std::string text((std::istreambuf_iterator<char>(log)), std::istreambuf_iterator<char>());
  return text.find("localhost:" + std::to_string(port)) != std::string::npos;
}

std::string LocalProxy::url() const {
  return std::string(kind_ == Kind::kTinyproxy ? "http" : "socks5h") + "://127.0.0.1:" + std::to_string(port_);
}

}  // namespace zelvo::transport
