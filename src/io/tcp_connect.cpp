#include "io/tcp_connect.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

namespace veqdx::io {
namespace {

// The numeric host of a socket address ("10.0.0.5", "::1"); empty when it has none.
std::string NumericHost(const sockaddr* sa, socklen_t len) {
  char host[NI_MAXHOST];
  if (::getnameinfo(sa, len, host, sizeof host, nullptr, 0, NI_NUMERICHOST) != 0) return {};
  return host;
}

// "10.0.0.5:5025", "[::1]:5025".
std::string JoinHostPort(const std::string& host, std::uint16_t port) {
  bool v6 = host.find(':') != std::string::npos;
  return (v6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

class CFdGuard {
 public:
  explicit CFdGuard(int fd) : fd_(fd) {}
  ~CFdGuard() {
    if (fd_ >= 0) ::close(fd_);
  }
  CFdGuard(const CFdGuard&) = delete;
  CFdGuard& operator=(const CFdGuard&) = delete;
  int get() const { return fd_; }
  int release() { return std::exchange(fd_, -1); }

 private:
  int fd_;
};

struct AddrInfoDeleter {
  void operator()(addrinfo* ai) const { ::freeaddrinfo(ai); }
};

// One connect attempt, bounded by `deadline`. Returns the connected descriptor or -1 with
// `err` set (ETIMEDOUT when the deadline passed).
int ConnectOne(const addrinfo* ai, Clock::time_point deadline, int& err) {
  CFdGuard fd(::socket(ai->ai_family, ai->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC,
                      ai->ai_protocol));
  if (fd.get() < 0) {
    err = errno;
    return -1;
  }
  if (::connect(fd.get(), ai->ai_addr, ai->ai_addrlen) != 0) {
    if (errno != EINPROGRESS && errno != EINTR) {
      err = errno;
      return -1;
    }
    int rc = WaitFor(fd.get(), POLLOUT, deadline);
    if (rc <= 0) {
      err = rc == 0 ? ETIMEDOUT : errno;
      return -1;
    }
    int soError = 0;
    socklen_t len = sizeof soError;
    if (::getsockopt(fd.get(), SOL_SOCKET, SO_ERROR, &soError, &len) != 0) soError = errno;
    if (soError != 0) {
      err = soError;
      return -1;
    }
  }
  // Connected: from here on the descriptor blocks. The raw socket says MSG_DONTWAIT on every
  // call that must not wait; libtirpc writes with plain write(), bounded by SO_SNDTIMEO.
  const int flags = ::fcntl(fd.get(), F_GETFL);
  if (flags < 0 || ::fcntl(fd.get(), F_SETFL, flags & ~O_NONBLOCK) != 0) {
    err = errno;
    return -1;
  }
  int one = 1;
  ::setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  ::setsockopt(fd.get(), SOL_SOCKET, SO_KEEPALIVE, &one, sizeof one);
  return fd.release();
}

}  // namespace

std::string ErrnoText(int err) { return std::strerror(err); }

IoResult ConnectTcp(const std::string& host, std::uint16_t port, Clock::time_point deadline,
                    std::string_view service, std::string_view timedOut, int& fd,
                    std::string& address) {
  fd = -1;
  address = JoinHostPort(host, port);
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* raw = nullptr;
  std::string portText = std::to_string(port);
  int gai = ::getaddrinfo(host.c_str(), portText.c_str(), &hints, &raw);
  std::unique_ptr<addrinfo, AddrInfoDeleter> list(raw);
  if (gai != 0) {
    return IoResult::Error("cannot resolve host '" + host + "': " +
                           (gai == EAI_SYSTEM ? ErrnoText(errno) : ::gai_strerror(gai)));
  }
  std::string lastHost = host;
  int lastErr = 0;
  for (const addrinfo* ai = list.get(); ai != nullptr; ai = ai->ai_next) {
    std::string numeric = NumericHost(ai->ai_addr, ai->ai_addrlen);
    if (!numeric.empty()) lastHost = numeric;
    fd = ConnectOne(ai, deadline, lastErr);
    if (fd >= 0) {
      address = JoinHostPort(lastHost, port);
      return IoResult::Ok();
    }
    if (lastErr == ETIMEDOUT && MsLeft(deadline) == 0) break;
  }
  address = JoinHostPort(lastHost, port);
  std::string target = lastHost != host ? host + " (" + address + ")" : address;
  if (!service.empty()) target += " (" + std::string(service) + ")";
  if (lastErr == ETIMEDOUT)
    return IoResult::Timeout("connect to " + target + std::string(timedOut));
  if (lastErr == ECONNREFUSED) return IoResult::Error("connect to " + target + " refused");
  return IoResult::Error("connect to " + target + " failed: " + ErrnoText(lastErr));
}

}  // namespace veqdx::io
