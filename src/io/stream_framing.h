// Message framing over a byte stream without an END signal (a raw socket, a serial line, a
// USB TMC stand-in): a message ends with the termination character. The transports differ
// only in how they move bytes and how they name their failures, so the framing lives here
// once and the transports pass in their own send or receive step.
//
// Reads: bytes are taken from the kernel in blocks and kept in an inbox; a read ends at the
// termination character (when enabled) or at the caller's count, and whatever arrived behind
// it waits for the next read. The inbox never holds more than the caller's count plus one
// block. A read that times out hands over what had arrived and forgets the rest, so a late
// tail cannot be taken for the next reply.
#pragma once
#include <sys/types.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "io/deadline.h"
#include "io/transport.h"

namespace veqdx::io {

// One step of a transport: bytes moved (> 0), the end of the stream (0, reads only), or a
// failure (< 0) with its errno; ETIMEDOUT means the operation's deadline passed.
struct StreamStep {
  ssize_t count;
  int error;
};

// Repeats `attempt()` (one non-blocking call: a byte count, or -1 with errno) until it moves
// bytes, reports the end of the stream (0) or fails for good, waiting for `events` on `fd` up
// to `deadline` whenever it would block.
template <class Attempt>
StreamStep RetryUntil(int fd, short events, Clock::time_point deadline, Attempt&& attempt) {
  for (;;) {
    const ssize_t n = attempt();
    if (n >= 0) return {n, 0};
    if (errno == EINTR) continue;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return {-1, errno};
    const int rc = WaitFor(fd, events, deadline);
    if (rc == 0) return {-1, ETIMEDOUT};
    if (rc < 0) return {-1, errno};
  }
}

class CStreamInbox {
 public:
  explicit CStreamInbox(std::size_t block) : block_(block) {}

  enum class Stop { Delivered, EndOfStream, Failed, TimedOut };
  struct Outcome {
    Stop stop;
    int error;         // errno of Failed
    std::size_t held;  // bytes that had arrived without completing the read
  };

  // Fills `buffer` with one framed piece, ending at `link`'s termination character when it is
  // enabled. `receive(into, room)` waits for and takes more bytes (a StreamStep); it is called
  // only when the inbox holds no complete piece.
  template <class Receive>
  Outcome Read(char* buffer, std::size_t max, const LinkSettings& link, std::size_t& got,
               ReadEnd& why, Receive&& receive) {
    got = 0;
    why = ReadEnd::Count;
    std::size_t scanned = 0;  // bytes at the front of the inbox already searched
    for (;;) {
      const std::size_t held = end_ - start_;
      const std::size_t window = held < max ? held : max;
      if (link.termEnabled && window > scanned) {
        const char* begin = bytes_.data() + start_;
        const int term = static_cast<unsigned char>(link.termChar);
        const void* hit = std::memchr(begin + scanned, term, window - scanned);
        if (hit != nullptr) {
          Deliver(buffer, static_cast<std::size_t>(static_cast<const char*>(hit) - begin) + 1,
                  got);
          why = ReadEnd::TermChar;
          return {Stop::Delivered, 0, 0};
        }
      }
      scanned = window;
      if (held >= max) {
        Deliver(buffer, max, got);
        return {Stop::Delivered, 0, 0};
      }
      const std::size_t room = MakeRoom(max - held + block_);
      const StreamStep step = receive(bytes_.data() + end_, room);
      if (step.count > 0) {
        end_ += static_cast<std::size_t>(step.count);
        continue;
      }
      if (step.count == 0) return {Stop::EndOfStream, 0, held};
      if (step.error != ETIMEDOUT) return {Stop::Failed, step.error, held};
      if (held > 0) Deliver(buffer, held < max ? held : max, got);
      Drop();
      return {Stop::TimedOut, 0, held};
    }
  }

  void Drop() { start_ = end_ = 0; }

 private:
  void Deliver(char* buffer, std::size_t n, std::size_t& got) {
    std::memcpy(buffer, bytes_.data() + start_, n);
    start_ += n;
    if (start_ == end_) Drop();
    got = n;
  }

  // Free space behind what is held: at least one block, at most `limit` handed out.
  std::size_t MakeRoom(std::size_t limit) {
    if (bytes_.size() - end_ < block_) {
      if (start_ > 0) {
        std::memmove(bytes_.data(), bytes_.data() + start_, end_ - start_);
        end_ -= start_;
        start_ = 0;
      }
      if (bytes_.size() - end_ < block_) bytes_.resize(end_ + block_);
    }
    const std::size_t room = bytes_.size() - end_;
    return room < limit ? room : limit;
  }

  std::size_t block_;
  std::vector<char> bytes_;  // received, not yet delivered: [start_, end_)
  std::size_t start_ = 0;
  std::size_t end_ = 0;
};

// The timeout of a read that got `held` bytes and no terminator from `peer`.
inline IoResult ReadTimedOut(std::size_t held, const std::string& peer, int timeoutMs) {
  const std::string what = held > 0 ? "incomplete reply (" + std::to_string(held) +
                                          " bytes, no terminator) from "
                                    : "no reply from ";
  return IoResult::Timeout(what + peer + " within " + std::to_string(timeoutMs) + " ms");
}

// Writes `size` bytes and, when `addTerm`, the termination character behind them, through
// `send(iov, count)` (a StreamStep; it does its own waiting). `sent` counts the bytes that
// went out, terminator included; the failing step is returned, {total, 0} on success.
template <class Send>
StreamStep WriteFramed(const char* data, std::size_t size, bool addTerm, char term,
                       std::size_t& sent, Send&& send) {
  const std::size_t total = size + (addTerm ? 1 : 0);
  sent = 0;
  while (sent < total) {
    iovec iov[2];
    int count = 0;
    if (sent < size) iov[count++] = {const_cast<char*>(data) + sent, size - sent};
    if (addTerm) iov[count++] = {&term, 1};
    const StreamStep step = send(iov, count);
    if (step.count == 0) return {-1, EIO};  // a write that moves nothing would loop forever
    if (step.count < 0) return step;
    sent += static_cast<std::size_t>(step.count);
  }
  return {static_cast<ssize_t>(total), 0};
}

}  // namespace veqdx::io
