// An instrument made of a script, for unit tests of every layer above the transport.
//
//   auto dev = std::make_shared<ScriptedDevice>();
//   dev->OnQuery("*IDN?", "Velmora,QDX750L,1,2\n");     // answered whenever "*IDN?" is written
//   dev->Reply("12.5\n");                              // queued now, read by the next read
//   session.OpenWithTransport("TCPIP::sim::INSTR", dev->Connect());
//   ... driver traffic ...
//   EXPECT_EQ(dev->Written(), (std::vector<std::string>{"*IDN?", ":VOLT 12.5"}));
//
// Model. The device keeps an output queue of bytes. Reply() appends to it at once; OnQuery()
// and OnMessage() append when a matching message is written. A read takes bytes from the
// front of the queue and stops, like a VISA read, at END (the last byte of a reply, unless
// the reply was queued with `end = false`), at the termination character when the transport
// has it enabled (the character is delivered), or when the caller's count is reached
// (ReadEnd::Count, the rest stays queued). A read that finds the queue empty, or runs out of
// bytes before any of those, times out at once (no wall-clock wait) with what it got.
//
// Messages. A message is the bytes of consecutive writes up to and including one with END;
// Written() lists them as written (a line feed the caller wrote stays in), the last element
// being an unfinished message when the latest write had no END. Writes() lists every write
// call with its END flag. Queries match a message with trailing "\r\n" characters removed.
//
// Faults, each for the next operation of its kind: TimeOutNextRead(), FailNextRead(),
// FailNextWrite(), AcceptAtMostNextWrite() (a short write). The device is thread-safe; one
// device may serve several transports in turn (Connect() after a close).
#pragma once
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "io/transport.h"

namespace veqdx::io {

struct ReplyOptions {
  // Deliver the reply in transfers of at most `chunk` bytes: a read stops at each chunk
  // boundary with ReadEnd::Count, as a device that sends in pieces. 0: one transfer.
  std::size_t chunk = 0;
  // Assert END on the last byte. false: the reply ends only where a termination character
  // or the count stops the read (a raw socket or serial line has no END).
  bool end = true;
};

struct WriteRecord {
  std::string bytes;
  bool end = false;
  bool operator==(const WriteRecord&) const = default;
};

class ScriptedDevice : public std::enable_shared_from_this<ScriptedDevice> {
 public:
  using Responder = std::function<std::optional<std::string>(const std::string& message)>;

  // What the transports of this device report about themselves.
  explicit ScriptedDevice(InterfaceType type = InterfaceType::Tcpip,
                          std::string resourceClass = "INSTR", int interfaceNumber = 0);

  // A transport on this device (the device must be owned by a shared_ptr). Its termination
  // character starts as line feed, enabled when the resource class is "SOCKET" or the
  // interface is serial; timeout 2000 ms.
  std::unique_ptr<ITransport> Connect();

  // --- script ---
  ScriptedDevice& Reply(std::string reply, ReplyOptions options = {});
  // Appends `reply` to the output queue every time `command` is written. A later rule for
  // the same command replaces the earlier one.
  ScriptedDevice& OnQuery(std::string command, std::string reply, ReplyOptions options = {});
  // Called with every complete message that no OnQuery rule matched; a returned string is
  // queued as a reply.
  ScriptedDevice& OnMessage(Responder responder);
  ScriptedDevice& TimeOutNextRead();
  ScriptedDevice& FailNextRead(std::string message);
  ScriptedDevice& FailNextWrite(std::string message);
  // The next write accepts only the first `count` bytes (and succeeds).
  ScriptedDevice& AcceptAtMostNextWrite(std::size_t count);
  ScriptedDevice& SetStatusByte(std::uint8_t stb);
  ScriptedDevice& SetStatusByteSupported(bool supported);

  // --- observation ---
  std::vector<std::string> Written() const;
  std::vector<WriteRecord> Writes() const;
  void ClearWritten();
  // The `max` of every read call, in order (so a test can count reads and check their size).
  std::vector<std::size_t> Reads() const;
  std::size_t PendingOutput() const;  // queued bytes not yet read
  int ClearCount() const;
  int LockCount() const;              // Lock calls minus Unlock calls
  bool Connected() const;             // a transport is open on the device

 private:
  friend class ScriptedTransport;
  struct Segment {
    std::string bytes;
    bool end = false;    // END on the last byte
    bool pause = false;  // a read stops after this segment (chunked delivery)
  };
  struct Rule {
    std::string command;
    std::string reply;
    ReplyOptions options;
  };

  IoResult DoWrite(const char* data, std::size_t size, bool end, std::size_t& written);
  IoResult DoRead(char* buffer, std::size_t max, std::size_t& got, ReadEnd& why, char term,
                  bool termEnabled, int timeoutMs);
  IoResult DoClear();
  void QueueLocked(const std::string& reply, const ReplyOptions& options);
  void MessageCompleteLocked(const std::string& message);

  const InterfaceType type_;
  const std::string resourceClass_;
  const int interfaceNumber_;

  mutable std::mutex mutex_;
  std::deque<Segment> output_;
  std::vector<Rule> rules_;
  Responder responder_;
  std::vector<WriteRecord> writes_;
  std::vector<std::string> messages_;
  bool messageOpen_ = false;
  std::vector<std::size_t> reads_;
  std::deque<IoResult> readFaults_;
  std::deque<IoResult> writeFaults_;
  std::optional<std::size_t> acceptLimit_;
  std::uint8_t statusByte_ = 0;
  bool statusByteSupported_ = true;
  int clears_ = 0;
  int locks_ = 0;
  int connections_ = 0;
};

}  // namespace veqdx::io
