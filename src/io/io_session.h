// One I/O session per driver session: a transport, the formatted I/O engine's buffers and the
// low-level operations. Three layers: formatted (formatted_io.h) -> buffered (CInstrBuffer) ->
// low level (straight to the transport, never polling the instrument status).
#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/error_reporter.h"
#include "base/hresult.h"
#include "io/deadline.h"
#include "io/reply_ledger.h"
#include "io/transport.h"

namespace veqdx::io {

class CIoSession;
class CFormattedIo;

// The read and write buffers between the formatted engine and the device.
class CInstrBuffer {
 public:
  static constexpr std::int32_t kDefaultCapacity = 4096;
  // Largest write buffer ResizeWriteBuffer allocates; a larger request fails like an
  // allocation that the system refused.
  static constexpr std::int32_t kMaxCapacity = 16 * 1024 * 1024;
  // Characters asked for by each read of DiscardPending.
  static constexpr std::size_t kDiscardChunk = 1000;
  // Result of ReadChar/PeekChar when the current response is exhausted (END seen and every
  // byte consumed): the formatted reader treats it as end of input, never waits for more.
  static constexpr int kEndOfResponse = -1;
  // A response that has not ended after this many bytes, or within the session timeout of
  // its first byte, is cut off and reported: an instrument that streams without end must not
  // keep a call busy, and the reader's memory stays bounded.
  static constexpr std::size_t kMaxResponseBytes = std::size_t{1} << 20;

  explicit CInstrBuffer(CIoSession& owner);
  ~CInstrBuffer();
  CInstrBuffer(const CInstrBuffer&) = delete;
  CInstrBuffer& operator=(const CInstrBuffer&) = delete;

  // Allocates both buffers at kDefaultCapacity, zero-filled.
  HRESULT Create();
  // Re-allocates the write buffer, reporting the allocation message (with `capacity`) on
  // failure; the old buffer stays in place then. Waiting bytes are kept; a capacity below
  // what is waiting, or not above zero, is an invalid value.
  HRESULT ResizeWriteBuffer(std::int32_t capacity);

  std::int32_t ReadCapacity() const { return readCapacity_; }
  std::int32_t WriteCapacity() const { return writeCapacity_; }
  std::int32_t ReadPending() const { return readCount_ - readPos_; }  // unread bytes held
  std::int32_t WritePending() const { return writeCount_; }            // bytes waiting
  bool HasBeenRead() const { return hasBeenRead_; }

  // --- read side ---
  // Next byte of the response (0..255), refilling with one low-level read of at most the
  // capacity when the buffer is exhausted and the response has not ended; kEndOfResponse at
  // the end. Errors (timeout, link) are reported through the owner and returned.
  HRESULT ReadChar(int& c);
  HRESULT PeekChar(int& c);
  // Moves the read position back by one; fails with "Can't push character back into read
  // buffer.  Buffer has not been read from." before anything was read (and for a second
  // pushback without a read in between: one character can be pushed back).
  HRESULT PushBack();
  // Copies up to `n` bytes of the response into `dst`.
  HRESULT Read(char* dst, std::size_t n, std::size_t& got);
  // True once the current response has ended (END or termination character seen) and every
  // byte of it was consumed.
  bool ResponseComplete() const;
  // True once the current response has ended, consumed or not.
  bool ResponseEnded() const { return readEnded_; }
  // Throws away what the device still has to send: low-level string reads of at most 1000
  // characters while they stop at the count (status 0x40102); then zero-fills and empties
  // the read buffer. At least one read is made unless the buffered response has already
  // ended. A read that times out ends the loop without error (nothing more was pending; a
  // tail that still comes is owed and dropped later); other link failures are reported, and
  // so is a response that runs past kMaxResponseBytes or the session timeout.
  HRESULT DiscardPending();
  // The end-of-read step after a formatted read: drops the unconsumed rest of the response,
  // reading from the device (DiscardPending) only when the response has not ended yet, so a
  // fully read response costs no further read. Then the next read starts a new response.
  HRESULT FinishRead();
  // Forgets the buffered response without touching the device (start of a new query).
  void ResetRead();

  // --- write side ---
  // Appends bytes; when the buffer fills, its content is flushed without END first.
  HRESULT Write(const char* src, std::size_t n);
  HRESULT Write(std::string_view s) { return Write(s.data(), s.size()); }
  // Hands the waiting bytes to the device in one low-level write, END on the last byte when
  // `end`; reports "Flush of formatted I/O write buffer only successfully sent %d of %d bytes
  // to the device." on a short write. An empty buffer sends nothing and succeeds.
  HRESULT Flush(bool end = true);
  // Drops bytes waiting in the write buffer (after a failed format).
  void DiscardWrite() { writeCount_ = 0; }

 private:
  HRESULT Refill();  // one low-level read of at most the capacity
  HRESULT Fill();    // refills until a byte is available or the response ended
  // Counts `got` more bytes of the current response; past the byte or time limit the
  // response is given up and reported.
  HRESULT Account(std::size_t got);

  CIoSession& owner_;
  std::unique_ptr<char[]> readBuf_;
  std::int32_t readCapacity_ = 0;
  std::int32_t readCount_ = 0;
  std::int32_t readPos_ = 0;
  // The last refill ended the response (END / termination char). False also in the idle
  // state (nothing received since the last reset): the next read asks the device.
  bool readEnded_ = false;
  bool responseStarted_ = false;  // a refill happened since the last reset
  bool hasBeenRead_ = false;      // anything read since the buffer was created
  bool canPushBack_ = false;      // a character was consumed and not pushed back yet
  bool atEnd_ = false;            // the last read met the end of the response
  std::size_t responseBytes_ = 0;     // received of the current response
  Clock::time_point responseDeadline_;  // set at the response's first refill
  std::unique_ptr<char[]> writeBuf_;
  std::int32_t writeCapacity_ = 0;
  std::int32_t writeCount_ = 0;
};

// Options of an open: the transport options plus what the session itself needs.
struct IoOpenOptions {
  bool simulate = false;
  TransportOptions transport;
  std::string visaOptionString;  // handed to a VISA open, empty by default
};

class CIoSession {
  friend class CInstrBuffer;

 public:
  explicit CIoSession(const CErrorReporter& reporter);
  ~CIoSession();
  CIoSession(const CIoSession&) = delete;
  CIoSession& operator=(const CIoSession&) = delete;

  // Opens `resource` (any form of the resource table) or, when simulating, records the
  // descriptor and touches nothing. A failure is the I/O error whose description ends with
  // "Resource descriptor = <resource>.".
  HRESULT Open(std::string_view resource, const IoOpenOptions& options);
  // Opens on a transport made by the caller (tests, the scripted device).
  HRESULT OpenWithTransport(std::string_view resource, std::unique_ptr<ITransport> transport);
  HRESULT Close();
  bool IsOpen() const { return transport_ != nullptr || simulate_; }
  bool Simulate() const { return simulate_; }
  const std::string& ResourceDescriptor() const { return resource_; }

  // nullptr when never opened or simulating.
  CInstrBuffer* Buffer() { return buffer_.get(); }
  ITransport* Transport() { return transport_.get(); }
  // The formatted I/O engine of this session (always present; without a buffer its
  // operations fail through the reporter with an empty description).
  CFormattedIo& Formatted() { return *formatted_; }

  // Reports a failure text of the I/O layer as the driver's I/O error (message 0x2A).
  HRESULT ReportError(std::string_view text) const;
  // Null format/argument: E_INVALIDARG with `text` as the description of the thread's error
  // record (no message number covers it).
  HRESULT ReportInvalidArgument(std::string_view text) const;
  // Converts a transport result: timeouts to message 0x2B, other failures to 0x2A.
  HRESULT ReportIo(const IoResult& r) const;
  const CErrorReporter& Reporter() const { return reporter_; }

  // The instrument-status check run after ordinary formatted writes and reads (the driver's
  // PollInstrumentStatus). Unset: nothing is checked. The hook's own I/O (a "*ESR?" query)
  // does not poll again: Poll() inside the hook returns S_OK.
  void SetPollHook(std::function<HRESULT()> hook) { pollHook_ = std::move(hook); }
  HRESULT Poll();
  // Called by the driver after a failed status check so the next operation starts clean:
  // drops what waits in both buffers, without device traffic.
  void ClearErrorState();

  // --- keeping replies in step (reply_ledger.h) ---
  // Brings a link that gave up on a reply back into step before a fresh start (reset, status
  // clear): a link with a device clear is cleared; a stream link waits up to the timeout for
  // the replies still owed, drops them and then forgets whatever did not come. Does nothing
  // when the link is in step.
  HRESULT Resynchronize();
  const CReplyLedger& Ledger() const { return ledger_; }

  // --- low level: straight to the transport, never through the buffers, never polling ---
  HRESULT LowLevelWriteNoPoll(const char* data, std::size_t size, std::size_t& written,
                              bool end = true);
  // `status` receives 0 when the read ended the response, kReadStatusMaxCount when it stopped
  // at `max`. Without an open transport (never opened, closed, simulating) these report the
  // I/O error and touch nothing.
  HRESULT LowLevelReadNoPoll(char* buffer, std::size_t max, std::size_t& got,
                             std::int32_t& status);
  HRESULT LowLevelWriteStringNoPoll(std::string_view text);
  HRESULT LowLevelReadStringNoPoll(std::size_t max, std::string& out, std::int32_t& status);

  // --- session info ---
  int GetTimeout() const;
  void SetTimeout(int milliseconds);
  char GetTerminationCharacter() const;
  bool GetTerminationCharacterEnabled() const;
  InterfaceType GetInterfaceType() const;
  int GetInterfaceNumber() const;
  std::string GetResourceClass() const;
  std::int32_t GetLastStatus() const { return lastStatus_; }

  // --- device control ---
  HRESULT ReadStatusByte(std::uint8_t* stb);  // null: invalid pointer, naming "ReadStatusBte"
  // Device clear; also drops what waits in both buffers.
  HRESULT Clear();
  HRESULT Lock(int timeoutMs);
  HRESULT Unlock();

 private:
  const CErrorReporter& reporter_;
  std::string resource_;
  bool simulate_ = false;
  std::unique_ptr<ITransport> transport_;
  std::unique_ptr<CInstrBuffer> buffer_;
  std::unique_ptr<CFormattedIo> formatted_;
  std::function<HRESULT()> pollHook_;
  bool polling_ = false;
  std::int32_t lastStatus_ = 0;
  int timeoutMs_ = 2000;  // reported while no transport is open

  CReplyLedger ledger_;

  // Transfers without reporting; they keep lastStatus_ (0, kReadStatusMaxCount or the error's
  // HRESULT) and the reply ledger.
  IoResult WriteRaw(const char* data, std::size_t size, bool end, std::size_t& written);
  IoResult ReadRaw(char* buffer, std::size_t max, std::size_t& got, std::int32_t& status);
  // The read of the current response was given up (CInstrBuffer's limits, a failed read).
  void AbandonResponse() { ledger_.OnAbandoned(); }
  // Settles owed replies before a write: a device clear, or dropping those already here.
  IoResult SettleBeforeWrite();
  // Drops owed replies as they arrive, until none is owed or `deadline` passes (a timeout).
  IoResult SkipOwed(Clock::time_point deadline, std::size_t& skipped);
  // Replies can be counted on this link (it marks where one ends).
  bool CountsReplies() const;
  IoResult NotOpen() const;
  HRESULT Report(const IoResult& r);  // ReportIo, and the HRESULT into lastStatus_
};

// Creates the transport for a resource string (resource.h parses it). Forms whose transport
// is not built in fail with an I/O error naming the resource.
std::unique_ptr<ITransport> OpenTransport(std::string_view resource,
                                          const TransportOptions& options, IoResult& result);

// A failed open: the general I/O error "Failed to open VISA resource." with "Resource
// descriptor = <resource>." as its extra text, followed by " Cause: <reason>." naming what the
// link said (refused, timed out, no such device, a resource it cannot parse), so the user
// knows what to fix.
HRESULT ReportOpenFailure(const CErrorReporter& reporter, std::string_view resource,
                          std::string_view reason);

}  // namespace veqdx::io
