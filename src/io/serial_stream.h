// Messages over a byte stream on a file descriptor: a serial line, or a node that stands in for
// a USB TMC device. Such a stream has no END signal, so a message ends with the termination
// character (line feed, enabled from the start): a read ends at it, and a write with END gets
// it appended unless the message already ends with it. With the termination character off a
// read ends only at the caller's count.
//
// The descriptor is non-blocking; every read and write waits with poll() for at most the
// timeout. Bytes that arrive after a terminator stay for the next read. A read that times out
// hands over what had arrived (and says so), so it cannot be taken for the next reply. A
// stream that hangs up (the device went away, the other end of a pseudo-terminal closed) is
// an error that names the device.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "io/stream_framing.h"
#include "io/transport.h"

namespace veqdx::io {

class CFdStream {
 public:
  // Takes ownership of `fd` (set non-blocking here). `label` names the device in messages;
  // `link` is the owning transport's timeout and termination character.
  CFdStream(int fd, std::string label, const LinkSettings& link);
  ~CFdStream();
  CFdStream(const CFdStream&) = delete;
  CFdStream& operator=(const CFdStream&) = delete;

  IoResult Write(const char* data, std::size_t size, bool end, std::size_t& written);
  IoResult Read(char* buffer, std::size_t max, std::size_t& got, ReadEnd& why);

  // Forgets what was received and not yet delivered, and what waits in the kernel (at most a
  // bounded amount, so a device that never stops talking cannot hold it).
  IoResult DiscardInput();
  void Close();  // idempotent
  bool IsOpen() const { return fd_ >= 0; }
  int Fd() const { return fd_; }
  const std::string& Label() const { return label_; }
  IoResult Closed() const { return IoResult::Error(label_ + " is closed"); }

 private:
  IoResult HungUp(std::string_view during);

  int fd_;
  std::string label_;
  const LinkSettings& link_;
  static constexpr std::size_t kReceiveBlock = 4096;
  CStreamInbox inbox_{kReceiveBlock};
};

}  // namespace veqdx::io
