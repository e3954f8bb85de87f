#include "io/socket_transport.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include "io/tcp_connect.h"

namespace veqdx::io {
namespace {

// Clear() drains at most this much that already arrived, so a device that never stops
// talking cannot hold it forever.
constexpr std::size_t kClearDrainLimit = 4u << 20;

}  // namespace

std::unique_ptr<CSocketTransport> CSocketTransport::Connect(const std::string& host,
                                                          std::uint16_t port, int board,
                                                          const TransportOptions& options,
                                                          IoResult& result) {
  const auto deadline =
      Clock::now() + std::chrono::milliseconds(std::max(0, options.openTimeoutMs));
  int fd = -1;
  std::string address;
  result = ConnectTcp(host, port, deadline, {},
                      " did not complete within " + std::to_string(options.openTimeoutMs) + " ms",
                      fd, address);
  if (!result.ok()) return nullptr;
  return std::unique_ptr<CSocketTransport>(
      new CSocketTransport(fd, std::move(address), board, options.timeoutMs));
}

CSocketTransport::CSocketTransport(int fd, std::string address, int board, int timeoutMs)
    : CTransportBase(timeoutMs, true, board), fd_(fd), address_(std::move(address)) {
  ApplyReceiveTimeout();
}

CSocketTransport::~CSocketTransport() { Close(); }

void CSocketTransport::Close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
  inbox_.Drop();
}

void CSocketTransport::SetTimeout(int milliseconds) {
  const int before = link_.timeoutMs;
  CTransportBase::SetTimeout(milliseconds);
  if (link_.timeoutMs != before) ApplyReceiveTimeout();
}

void CSocketTransport::ApplyReceiveTimeout() {
  // A zero receive timeout would mean "wait forever" to the kernel; such reads never block.
  const int ms = link_.timeoutMs;
  timeval limit{ms / 1000, static_cast<suseconds_t>(ms % 1000) * 1000};
  blockingReceive_ = ms > 0 && fd_ >= 0 &&
                     ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) == 0;
}

IoResult CSocketTransport::ClosedByPeer(std::string_view during) {
  Close();
  return IoResult::Error("connection to " + address_ + " closed by the instrument" +
                         std::string(during));
}

IoResult CSocketTransport::Write(const char* data, std::size_t size, bool end,
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

IoResult CSocketTransport::Read(char* buffer, std::size_t max, std::size_t& got, ReadEnd& why) {
  got = 0;
  why = ReadEnd::Count;
  if (fd_ < 0) return IoResult::Error("connection to " + address_ + " is closed");
  if (max == 0) return IoResult::Ok();
  const auto deadline = Clock::now() + std::chrono::milliseconds(link_.timeoutMs);
  // The first wait of a read sleeps inside the receive call itself, bounded by the socket's
  // receive timeout (the session timeout): a reply then costs one system call, not a failed
  // receive, a poll and a second receive. Later waits of the same read poll to the deadline.
  bool blockFirst = blockingReceive_;
  const CStreamInbox::Outcome outcome = inbox_.Read(
      buffer, max, link_, got, why, [&](char* into, std::size_t room) -> StreamStep {
        return RetryUntil(fd_, POLLIN, deadline, [&] {
          const int flags = blockFirst ? 0 : MSG_DONTWAIT;
          blockFirst = false;
          return ::recv(fd_, into, room, flags);
        });
      });
  switch (outcome.stop) {
    case CStreamInbox::Stop::Delivered:
      return IoResult::Ok();
    case CStreamInbox::Stop::EndOfStream:
      return ClosedByPeer(outcome.held > 0 ? " in the middle of a reply (" +
                                                 std::to_string(outcome.held) + " bytes received)"
                                           : std::string());
    case CStreamInbox::Stop::Failed:
      if (outcome.error == ECONNRESET) return ClosedByPeer(" (connection reset)");
      return IoResult::Error("read from " + address_ + " failed: " + ErrnoText(outcome.error));
    case CStreamInbox::Stop::TimedOut:
      break;
  }
  return ReadTimedOut(outcome.held, address_, link_.timeoutMs);
}

IoResult CSocketTransport::Clear() {
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
