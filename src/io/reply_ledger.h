// Keeps the replies on a link in step with the queries that asked for them.
//
// The rule: a query sent and not yet answered to its end is *awaited*. When the read for it is
// given up (a timeout, a reply cut off at its cap, a failed read), the device may still send
// that reply later, so it becomes *owed*. Nothing owed may ever be taken as the answer to a
// later query. The session settles owed replies before the next exchange:
//   - links whose device clear empties the instrument's output (VXI-11, VISA instrument
//     resources) send a device clear and forget what was owed;
//   - stream links (raw socket, serial, USB TMC, VISA sockets and serial lines) have no such
//     means, so they count: every complete reply that arrives while something is owed, before
//     the next command or during its read, is dropped and pays off one owed reply. A late reply
//     that arrives in the middle of the next call therefore still cannot be mistaken. The first
//     command after a give-up waits up to the timeout for what is owed before it is sent, so
//     a reply that is merely slow is settled before anything new is asked.
// An instrument may also never answer (a query it rejects). Then the next read drops its own
// reply as the owed one and times out; a read that dropped every owed reply and still got
// nothing takes the owed reply as never sent and starts afresh, so one call fails and the
// session is in step again. Never is a reply handed to a query that did not ask for it.
// A reply is complete when it ends with the termination character or END. Writes are scanned
// for a '?' outside quoted strings, which makes a program message a query that expects one
// response message.
#pragma once
#include <cstddef>
#include <cstdint>

namespace veqdx::io {

class CReplyLedger {
 public:
  // Bytes of one program message handed to the device; `end` closes the message.
  void OnWritten(const char* data, std::size_t size, bool end) {
    for (std::size_t i = 0; i < size; ++i) Scan(data[i]);
    if (!end) return;
    if (queryInMessage_) ++awaited_;
    queryInMessage_ = false;
    quote_ = 0;
  }
  // A read ended a response (termination character or END).
  void OnResponseEnded() {
    if (awaited_ > 0) --awaited_;
    partial_ = false;
  }
  // Part of a response arrived and more of it is to come.
  void OnPartial() { partial_ = true; }
  // The read of the current response was given up: what it waited for may still come. That
  // is so when a query asked for it, or when part of it is already here.
  void OnAbandoned() {
    if (awaited_ == 0 && !partial_) return;
    if (awaited_ > 0) --awaited_;
    partial_ = false;
    ++owed_;
    waitDue_ = true;
  }
  // True once after a give-up: the next command may wait for what is owed.
  bool TakeWaitDue() {
    const bool due = waitDue_;
    waitDue_ = false;
    return due;
  }
  // A complete reply arrived and was dropped while something was owed.
  void OnOwedArrived() {
    if (owed_ > 0) --owed_;
  }
  // Every reply still to come is abandoned (a resynchronisation starts).
  void AbandonAll() {
    owed_ += awaited_ + (partial_ && awaited_ == 0 ? 1 : 0);
    awaited_ = 0;
    partial_ = false;
  }
  // After a device clear, or once a resynchronisation gave up waiting.
  void Forget() {
    owed_ = awaited_ = 0;
    waitDue_ = partial_ = false;
  }

  std::uint32_t Owed() const { return owed_; }
  std::uint32_t Awaited() const { return awaited_; }

 private:
  void Scan(char c) {
    if (quote_ != 0) {
      if (c == quote_) quote_ = 0;
    } else if (c == '"' || c == '\'') {
      quote_ = c;
    } else if (c == '?') {
      queryInMessage_ = true;
    }
  }

  std::uint32_t awaited_ = 0;
  std::uint32_t owed_ = 0;
  bool waitDue_ = false;
  bool partial_ = false;
  bool queryInMessage_ = false;
  char quote_ = 0;
};

}  // namespace veqdx::io
