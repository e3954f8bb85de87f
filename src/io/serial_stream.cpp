#include "io/serial_stream.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>

namespace veqdx::io {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kReceiveBlock = 4096;
constexpr std::size_t kDiscardLimit = 4u << 20;

int MsLeft(Clock::time_point deadline) {
  auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
  if (left.count() <= 0) return 0;
  return left.count() > INT_MAX ? INT_MAX : static_cast<int>(left.count());
}

// 1 ready (or hung up: the following call reports it), 0 timed out, -1 error.
int WaitFor(int fd, short events, Clock::time_point deadline) {
  for (;;) {
    pollfd p{fd, events, 0};
    int rc = ::poll(&p, 1, MsLeft(deadline));
    if (rc < 0 && errno == EINTR) continue;
    return rc;
  }
}

}  // namespace

FdStream::FdStream(int fd, std::string label, int timeoutMs)
    : fd_(fd), label_(std::move(label)), timeoutMs_(std::max(0, timeoutMs)) {
  int flags = ::fcntl(fd_, F_GETFL);
  if (flags >= 0) ::fcntl(fd_, F_SETFL, flags | O_NONBLOCK);
}

FdStream::~FdStream() { Close(); }

void FdStream::Close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
  DropInbox();
}

void FdStream::SetTimeout(int milliseconds) { timeoutMs_ = std::max(0, milliseconds); }

IoResult FdStream::HungUp(std::string_view during) {
  DropInbox();
  return IoResult::Error(label_ + " hung up" + std::string(during) +
                         " (the device was disconnected or closed its end)");
}

IoResult FdStream::Write(const char* data, std::size_t size, bool end, std::size_t& written) {
  written = 0;
  if (fd_ < 0) return Closed();
  bool addTerm = end && termEnabled_ && (size == 0 || data[size - 1] != term_);
  std::size_t total = size + (addTerm ? 1 : 0);
  auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs_);
  std::size_t sent = 0;
  while (sent < total) {
    iovec iov[2];
    int count = 0;
    if (sent < size) iov[count++] = {const_cast<char*>(data) + sent, size - sent};
    if (addTerm) iov[count++] = {&term_, 1};
    ssize_t n = ::writev(fd_, iov, count);
    if (n > 0) {
      sent += static_cast<std::size_t>(n);
      continue;
    }
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      int rc = WaitFor(fd_, POLLOUT, deadline);
      if (rc > 0) continue;
      if (rc == 0) {
        written = std::min(sent, size);
        return IoResult::Timeout("write to " + label_ + " sent only " + std::to_string(sent) +
                                 " of " + std::to_string(total) + " bytes within " +
                                 std::to_string(timeoutMs_) + " ms");
      }
    }
    int err = n < 0 ? errno : EIO;
    written = std::min(sent, size);
    if (err == EIO || err == EPIPE || err == ENXIO || err == ENODEV)
      return HungUp(" while writing");
    return IoResult::Error("write to " + label_ + " failed: " + std::strerror(err));
  }
  written = size;
  return IoResult::Ok();
}

IoResult FdStream::Read(char* buffer, std::size_t max, std::size_t& got, ReadEnd& why) {
  got = 0;
  why = ReadEnd::Count;
  if (fd_ < 0) return Closed();
  if (max == 0) return IoResult::Ok();
  auto deliver = [&](std::size_t n, ReadEnd reason) {
    std::memcpy(buffer, inbox_.data() + inStart_, n);
    inStart_ += n;
    if (inStart_ == inEnd_) DropInbox();
    got = n;
    why = reason;
    return IoResult::Ok();
  };

  auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs_);
  std::size_t scanned = 0;  // bytes at the front of the inbox already searched
  for (;;) {
    std::size_t held = inEnd_ - inStart_;
    std::size_t window = std::min(held, max);
    if (termEnabled_ && window > scanned) {
      const char* begin = inbox_.data() + inStart_;
      const void* hit = std::memchr(begin + scanned, static_cast<unsigned char>(term_),
                                    window - scanned);
      if (hit != nullptr)
        return deliver(static_cast<std::size_t>(static_cast<const char*>(hit) - begin) + 1,
                       ReadEnd::TermChar);
    }
    scanned = window;
    if (held >= max) return deliver(max, ReadEnd::Count);

    if (inbox_.size() - inEnd_ < kReceiveBlock) {
      if (inStart_ > 0) {
        std::memmove(inbox_.data(), inbox_.data() + inStart_, held);
        inStart_ = 0;
        inEnd_ = held;
      }
      if (inbox_.size() - inEnd_ < kReceiveBlock) inbox_.resize(inEnd_ + kReceiveBlock);
    }
    // Never take more from the kernel than this read can use, so that the inbox stays
    // bounded by the caller's count plus one block.
    std::size_t room = std::min(inbox_.size() - inEnd_, max - held + kReceiveBlock);
    ssize_t n = ::read(fd_, inbox_.data() + inEnd_, room);
    if (n > 0) {
      inEnd_ += static_cast<std::size_t>(n);
      continue;
    }
    if (n == 0) return HungUp(held > 0 ? " in the middle of a reply" : "");
    if (errno == EINTR) continue;
    if (errno != EAGAIN && errno != EWOULDBLOCK) {
      int err = errno;
      if (err == EIO || err == ENXIO || err == ENODEV) return HungUp("");
      return IoResult::Error("read from " + label_ + " failed: " + std::strerror(err));
    }
    int rc = WaitFor(fd_, POLLIN, deadline);
    if (rc > 0) continue;
    if (rc < 0) return IoResult::Error("read from " + label_ + " failed: " + std::strerror(errno));
    std::size_t partial = inEnd_ - inStart_;
    if (partial > 0) deliver(std::min(partial, max), ReadEnd::Count);
    DropInbox();
    std::string what = partial > 0 ? "incomplete reply (" + std::to_string(partial) +
                                         " bytes, no terminator) from "
                                   : "no reply from ";
    return IoResult::Timeout(what + label_ + " within " + std::to_string(timeoutMs_) + " ms");
  }
}

IoResult FdStream::DiscardInput() {
  if (fd_ < 0) return Closed();
  DropInbox();
  char scratch[kReceiveBlock];
  for (std::size_t drained = 0; drained < kDiscardLimit;) {
    ssize_t n = ::read(fd_, scratch, sizeof scratch);
    if (n > 0) {
      drained += static_cast<std::size_t>(n);
      continue;
    }
    if (n < 0 && errno == EINTR) continue;
    break;  // nothing more waiting, or hung up: the next read or write says so
  }
  return IoResult::Ok();
}

}  // namespace veqdx::io
