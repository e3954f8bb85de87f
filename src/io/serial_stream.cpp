#include "io/serial_stream.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace veqdx::io {
namespace {

constexpr std::size_t kDiscardLimit = 4u << 20;

}  // namespace

CFdStream::CFdStream(int fd, std::string label, const LinkSettings& link)
    : fd_(fd), label_(std::move(label)), link_(link) {
  int flags = ::fcntl(fd_, F_GETFL);
  if (flags >= 0) ::fcntl(fd_, F_SETFL, flags | O_NONBLOCK);
}

CFdStream::~CFdStream() { Close(); }

void CFdStream::Close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
  inbox_.Drop();
}

IoResult CFdStream::HungUp(std::string_view during) {
  inbox_.Drop();
  return IoResult::Error(label_ + " hung up" + std::string(during) +
                         " (the device was disconnected or closed its end)");
}

IoResult CFdStream::Write(const char* data, std::size_t size, bool end, std::size_t& written) {
  written = 0;
  if (fd_ < 0) return Closed();
  const bool addTerm = link_.AppendsTerm(data, size, end);
  const auto deadline = Clock::now() + std::chrono::milliseconds(link_.timeoutMs);
  std::size_t sent = 0;
  const StreamStep step =
      WriteFramed(data, size, addTerm, link_.termChar, sent, [&](iovec* iov, int count) {
        return RetryUntil(fd_, POLLOUT, deadline, [&] { return ::writev(fd_, iov, count); });
      });
  written = std::min(sent, size);
  if (step.count > 0) return IoResult::Ok();
  if (step.error == ETIMEDOUT) {
    return IoResult::Timeout("write to " + label_ + " sent only " + std::to_string(sent) + " of " +
                             std::to_string(size + (addTerm ? 1 : 0)) + " bytes within " +
                             std::to_string(link_.timeoutMs) + " ms");
  }
  if (step.error == EIO || step.error == EPIPE || step.error == ENXIO || step.error == ENODEV)
    return HungUp(" while writing");
  return IoResult::Error("write to " + label_ + " failed: " + std::strerror(step.error));
}

IoResult CFdStream::Read(char* buffer, std::size_t max, std::size_t& got, ReadEnd& why) {
  got = 0;
  why = ReadEnd::Count;
  if (fd_ < 0) return Closed();
  if (max == 0) return IoResult::Ok();
  const auto deadline = Clock::now() + std::chrono::milliseconds(link_.timeoutMs);
  const CStreamInbox::Outcome outcome = inbox_.Read(
      buffer, max, link_, got, why, [&](char* into, std::size_t room) -> StreamStep {
        return RetryUntil(fd_, POLLIN, deadline, [&] { return ::read(fd_, into, room); });
      });
  switch (outcome.stop) {
    case CStreamInbox::Stop::Delivered:
      return IoResult::Ok();
    case CStreamInbox::Stop::EndOfStream:
      return HungUp(outcome.held > 0 ? " in the middle of a reply" : "");
    case CStreamInbox::Stop::Failed:
      if (outcome.error == EIO || outcome.error == ENXIO || outcome.error == ENODEV)
        return HungUp("");
      return IoResult::Error("read from " + label_ + " failed: " + std::strerror(outcome.error));
    case CStreamInbox::Stop::TimedOut:
      break;
  }
  return ReadTimedOut(outcome.held, label_, link_.timeoutMs);
}

IoResult CFdStream::DiscardInput() {
  if (fd_ < 0) return Closed();
  inbox_.Drop();
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
