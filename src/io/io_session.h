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

#include "core/error_reporter.h"
#include "core/hresult.h"
#include "io/transport.h"

namespace veqdx::io {

class CIoSession;
class CFormattedIo;

// The read and write buffers between the formatted engine and the device.
class CInstrBuffer {
 public:
  static constexpr std::int32_t kDefaultCapacity = 4096;
  // Result of ReadChar/PeekChar when the current response is exhausted (END seen and every
  // byte consumed): the formatted reader treats it as end of input, never waits for more.
  static constexpr int kEndOfResponse = -1;

  explicit CInstrBuffer(CIoSession& owner);
  ~CInstrBuffer();
  CInstrBuffer(const CInstrBuffer&) = delete;
  CInstrBuffer& operator=(const CInstrBuffer&) = delete;

  // Allocates both buffers at kDefaultCapacity, zero-filled.
  HRESULT Create();
  // Re-allocates the write buffer (only when empty), reporting the allocation message on
  // failure.
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
  // buffer.  Buffer has not been read from." before anything was read.
  HRESULT PushBack();
  // Copies up to `n` bytes of the response into `dst`.
  HRESULT Read(char* dst, std::size_t n, std::size_t& got);
  // True once the current response has ended (END or termination character seen) and every
  // byte of it was consumed.
  bool ResponseComplete() const;
  // Throws away what the device still has to send: low-level string reads of at most 1000
  // characters while they stop at the count (status 0x40102); then zero-fills and empties
  // the read buffer.
  HRESULT DiscardPending();
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
  CIoSession& owner_;
  std::unique_ptr<char[]> readBuf_;
  std::int32_t readCapacity_ = 0;
  std::int32_t readCount_ = 0;
  std::int32_t readPos_ = 0;
  bool readEnded_ = true;   // the last refill ended the response (END / termination char)
  bool hasBeenRead_ = false;
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
  // Converts a transport result: timeouts to message 0x2B, other failures to 0x2A.
  HRESULT ReportIo(const IoResult& r) const;
  const CErrorReporter& Reporter() const { return reporter_; }

  // The instrument-status check run after ordinary formatted writes and reads (the driver's
  // PollInstrumentStatus). Unset: nothing is checked.
  void SetPollHook(std::function<HRESULT()> hook) { pollHook_ = std::move(hook); }
  HRESULT Poll();
  // Called by the driver after a failed status check so the next operation starts clean.
  void ClearErrorState();

  // --- low level: straight to the transport, never through the buffers, never polling ---
  HRESULT LowLevelWriteNoPoll(const char* data, std::size_t size, std::size_t& written,
                              bool end = true);
  // `status` receives 0 when the read ended the response, kReadStatusMaxCount when it stopped
  // at `max`.
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
  std::int32_t lastStatus_ = 0;
};

// Creates the transport for a resource string (resource.h parses it). Forms whose transport
// is not built in fail with an I/O error naming the resource.
std::unique_ptr<ITransport> OpenTransport(std::string_view resource,
                                          const TransportOptions& options, IoResult& result);

}  // namespace veqdx::io
