#include "io/socket_transport.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

namespace veqdx::io {
namespace {

// Clear() drains at most this much that already arrived, so a device that never stops
// talking cannot hold it forever.
constexpr std::size_t kClearDrainLimit = 4u << 20;

std::string ErrnoText(int err) { return std::strerror(err); }

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

class FdGuard {
 public:
  explicit FdGuard(int fd) : fd_(fd) {}
  ~FdGuard() {
    if (fd_ >= 0) ::close(fd_);
  }
  FdGuard(const FdGuard&) = delete;
  FdGuard& operator=(const FdGuard&) = delete;
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
  FdGuard fd(::socket(ai->ai_family, ai->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC,
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
  // Connected: from here on the descriptor blocks, and every call that must not wait says
  // MSG_DONTWAIT; only a read's first receive sleeps, bounded by the receive timeout.
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

std::unique_ptr<SocketTransport> SocketTransport::Connect(const std::string& host,
                                                          std::uint16_t port, int board,
                                                          const TransportOptions& options,
                                                          IoResult& result) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* raw = nullptr;
  std::string service = std::to_string(port);
  int gai = ::getaddrinfo(host.c_str(), service.c_str(), &hints, &raw);
  std::unique_ptr<addrinfo, AddrInfoDeleter> list(raw);
  if (gai != 0) {
    result = IoResult::Error("cannot resolve host '" + host + "': " +
                             (gai == EAI_SYSTEM ? ErrnoText(errno) : ::gai_strerror(gai)));
    return nullptr;
  }

  auto deadline = Clock::now() + std::chrono::milliseconds(std::max(0, options.openTimeoutMs));
  std::string lastHost = host;
  int lastErr = 0;
  for (const addrinfo* ai = list.get(); ai != nullptr; ai = ai->ai_next) {
    std::string numeric = NumericHost(ai->ai_addr, ai->ai_addrlen);
    if (!numeric.empty()) lastHost = numeric;
    int fd = ConnectOne(ai, deadline, lastErr);
    if (fd >= 0) {
      result = IoResult::Ok();
      return std::unique_ptr<SocketTransport>(
          new SocketTransport(fd, JoinHostPort(lastHost, port), board, options.timeoutMs));
    }
    if (lastErr == ETIMEDOUT && MsLeft(deadline) == 0) break;
  }

  // Name the host as given and, when it was a name, the address that was tried.
  std::string where = JoinHostPort(lastHost, port);
  if (lastHost != host) where = host + " (" + where + ")";
  if (lastErr == ETIMEDOUT) {
    result = IoResult::Timeout("connect to " + where + " did not complete within " +
                               std::to_string(options.openTimeoutMs) + " ms");
  } else if (lastErr == ECONNREFUSED) {
    result = IoResult::Error("connect to " + where + " refused");
  } else {
    result = IoResult::Error("connect to " + where + " failed: " + ErrnoText(lastErr));
  }
  return nullptr;
}

SocketTransport::SocketTransport(int fd, std::string address, int board, int timeoutMs)
    : CTransportBase(timeoutMs, true, board), fd_(fd), address_(std::move(address)) {
  ApplyReceiveTimeout();
}

SocketTransport::~SocketTransport() { Close(); }

void SocketTransport::Close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
  inbox_.Drop();
}

void SocketTransport::SetTimeout(int milliseconds) {
  const int before = link_.timeoutMs;
  CTransportBase::SetTimeout(milliseconds);
  if (link_.timeoutMs != before) ApplyReceiveTimeout();
}

void SocketTransport::ApplyReceiveTimeout() {
  // A zero receive timeout would mean "wait forever" to the kernel; such reads never block.
  const int ms = link_.timeoutMs;
  timeval limit{ms / 1000, static_cast<suseconds_t>(ms % 1000) * 1000};
  blockingReceive_ = ms > 0 && fd_ >= 0 &&
                     ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) == 0;
}

IoResult SocketTransport::ClosedByPeer(std::string_view during) {
  Close();
  return IoResult::Error("connection to " + address_ + " closed by the instrument" +
                         std::string(during));
}

IoResult SocketTransport::Write(const char* data, std::size_t size, bool end,
                                std::size_t& written) {
  written = 0;
  if (fd_ < 0) return IoResult::Error("connection to " + address_ + " is closed");
  // END on a line-feed link is the terminator itself.
  const bool addTerm = link_.AppendsTerm(data, size, end);
  const auto deadline = Clock::now() + std::chrono::milliseconds(link_.timeoutMs);
  std::size_t sent = 0;
  const StreamStep step =
      WriteFramed(data, size, addTerm, link_.termChar, sent, [&](iovec* iov, int count) {
        msghdr msg{};
        msg.msg_iov = iov;
        msg.msg_iovlen = static_cast<std::size_t>(count);
        return RetryUntil(fd_, POLLOUT, deadline,
                          [&] { return ::sendmsg(fd_, &msg, MSG_NOSIGNAL | MSG_DONTWAIT); });
      });
  written = std::min(sent, size);
  if (step.count > 0) return IoResult::Ok();
  if (step.error == ETIMEDOUT) {
    return IoResult::Timeout("write to " + address_ + " sent only " + std::to_string(sent) +
                             " of " + std::to_string(size + (addTerm ? 1 : 0)) +
                             " bytes within " + std::to_string(link_.timeoutMs) + " ms");
  }
  if (step.error == EPIPE || step.error == ECONNRESET) return ClosedByPeer(" (while writing)");
  return IoResult::Error("write to " + address_ + " failed: " + ErrnoText(step.error));
}

IoResult SocketTransport::Read(char* buffer, std::size_t max, std::size_t& got, ReadEnd& why) {
  got = 0;
  why = ReadEnd::Count;
  if (fd_ < 0) return IoResult::Error("connection to " + address_ + " is closed");
  if (max == 0) return IoResult::Ok();
  const auto deadline = Clock::now() + std::chrono::milliseconds(link_.timeoutMs);
  // The first wait of a read sleeps inside the receive call itself, bounded by the socket's
  // receive timeout (the session timeout): a reply then costs one system call, not a failed
  // receive, a poll and a second receive. Later waits of the same read poll to the deadline.
  bool blockFirst = blockingReceive_;
  const StreamInbox::Outcome outcome = inbox_.Read(
      buffer, max, link_, got, why, [&](char* into, std::size_t room) -> StreamStep {
        return RetryUntil(fd_, POLLIN, deadline, [&] {
          const int flags = blockFirst ? 0 : MSG_DONTWAIT;
          blockFirst = false;
          return ::recv(fd_, into, room, flags);
        });
      });
  switch (outcome.stop) {
    case StreamInbox::Stop::Delivered:
      return IoResult::Ok();
    case StreamInbox::Stop::EndOfStream:
      return ClosedByPeer(outcome.held > 0 ? " in the middle of a reply (" +
                                                 std::to_string(outcome.held) + " bytes received)"
                                           : std::string());
    case StreamInbox::Stop::Failed:
      if (outcome.error == ECONNRESET) return ClosedByPeer(" (connection reset)");
      return IoResult::Error("read from " + address_ + " failed: " + ErrnoText(outcome.error));
    case StreamInbox::Stop::TimedOut:
      break;
  }
  return ReadTimedOut(outcome.held, address_, link_.timeoutMs);
}

IoResult SocketTransport::Clear() {
  if (fd_ < 0) return IoResult::Error("connection to " + address_ + " is closed");
  inbox_.Drop();
  char scratch[kReceiveBlock];
  for (std::size_t drained = 0; drained < kClearDrainLimit;) {
    ssize_t n = ::recv(fd_, scratch, sizeof scratch, MSG_DONTWAIT);
    if (n > 0) {
      drained += static_cast<std::size_t>(n);
      continue;
    }
    if (n == 0) return ClosedByPeer(" (during device clear)");
    if (errno == EINTR) continue;
    if (errno == EAGAIN || errno == EWOULDBLOCK) break;
    return IoResult::Error("device clear on " + address_ + " failed: " + ErrnoText(errno));
  }
  return IoResult::Ok();
}

}  // namespace veqdx::io
