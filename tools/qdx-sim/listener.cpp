#include "listener.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace qdxsim::detail {

std::string describe(const std::string& host, int port) {
  bool v6 = host.find(':') != std::string::npos;
  return (v6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

int listenOn(const std::string& host, int port, std::string_view what, bool privilegedHint,
             std::string& error) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  if (int rc = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found)) {
    error = "cannot resolve listen address '" + host + "': " + gai_strerror(rc);
    return -1;
  }
  std::string lastError = "no usable address";
  int result = -1;
  for (addrinfo* a = found; a && result < 0; a = a->ai_next) {
    int fd = socket(a->ai_family, a->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, a->ai_protocol);
    if (fd < 0) continue;
    int one = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    if (bind(fd, a->ai_addr, a->ai_addrlen) == 0 && listen(fd, 16) == 0) {
      result = fd;
    } else {
      lastError = std::strerror(errno);
      ::close(fd);
    }
  }
  freeaddrinfo(found);
  if (result < 0) {
    error = "cannot listen on " + describe(host, port);
    if (!what.empty()) error += " for the " + std::string(what);
    error += ": " + lastError;
    if (privilegedHint && port > 0 && port < 1024 && geteuid() != 0)
      error += " (ports below 1024 need root)";
  }
  return result;
}

int boundPort(int fd) {
  sockaddr_storage bound{};
  socklen_t len = sizeof bound;
  getsockname(fd, reinterpret_cast<sockaddr*>(&bound), &len);
  return ntohs(bound.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6*>(&bound)->sin6_port
                                           : reinterpret_cast<sockaddr_in*>(&bound)->sin_port);
}

}  // namespace qdxsim::detail
