// The byte link to an instrument. The I/O session (io_session.h) sits on one transport and
// knows nothing of sockets, RPC or ttys; each transport knows nothing of SCPI.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace veqdx::io {

// Outcome of one transport operation. `message` says what happened and where, in words a user
// can act on ("connect to 10.0.0.5:5025 refused", "no reply within 2000 ms").
enum class IoCode { Ok, Timeout, Error, NotSupported };
struct IoResult {
  IoCode code = IoCode::Ok;
  std::string message;
  bool ok() const { return code == IoCode::Ok; }
  static IoResult Ok() { return {}; }
  static IoResult Timeout(std::string m) { return {IoCode::Timeout, std::move(m)}; }
  static IoResult Error(std::string m) { return {IoCode::Error, std::move(m)}; }
};

// Why a read returned. `Count` means the caller's buffer filled before the message ended, so
// more bytes of the same response may be waiting (VISA's "max count" success status).
enum class ReadEnd { End, TermChar, Count };

// VISA's success status for a read that stopped at the requested count.
constexpr std::int32_t kReadStatusMaxCount = 0x40102;

// Interface kinds as the session reports them (GetInterfaceType).
enum class InterfaceType : int { Gpib = 0, Vxi = 1, GpibVxi = 2, Serial = 3, Tcpip = 5, Usb = 6 };

class ITransport {
 public:
  virtual ~ITransport() = default;

  // Hands `size` bytes to the device as one message; `end` asserts END on the last byte.
  // `written` receives the number of bytes accepted.
  virtual IoResult Write(const char* data, std::size_t size, bool end, std::size_t& written) = 0;
  // Reads at most `max` bytes. Stops at END, at the termination character when it is enabled
  // (the character is delivered), or when `max` bytes arrived. Blocks at most Timeout() ms.
  virtual IoResult Read(char* buffer, std::size_t max, std::size_t& got, ReadEnd& why) = 0;

  virtual void SetTimeout(int milliseconds) = 0;
  virtual int Timeout() const = 0;
  virtual void SetTermChar(char c, bool enabled) = 0;
  virtual char TermChar() const = 0;
  virtual bool TermCharEnabled() const = 0;

  // Optional operations. A link without a device clear or a status byte answers
  // IoCode::NotSupported in words that name it (LinkName()); a link nothing else shares has
  // nothing to lock out, so locking it succeeds; a link that holds nothing has nothing to close.
  virtual IoResult Clear() {  // device clear
    return {IoCode::NotSupported, "device clear is not supported on " + LinkName()};
  }
  virtual IoResult ReadStatusByte(std::uint8_t& /*stb*/) {
    return {IoCode::NotSupported, "reading the status byte is not supported on " + LinkName() +
                                      "; query \"*STB?\" instead"};
  }
  virtual IoResult Lock(int /*timeoutMs*/) { return IoResult::Ok(); }
  virtual IoResult Unlock() { return IoResult::Ok(); }
  virtual void Close() {}  // idempotent
  // The link as the messages above name it.
  virtual std::string LinkName() const { return "this link"; }

  // How the session keeps replies in step after an abandoned read (reply_ledger.h). A link
  // whose Clear() empties the instrument's output queue is cleared; on any other link replies
  // are counted, which needs to know where one ends: the termination character when enabled,
  // or END on links that signal it.
  virtual bool ClearEmptiesOutput() const { return false; }
  virtual bool HasEndSignal() const { return false; }

  virtual InterfaceType Interface() const = 0;
  virtual std::string ResourceClass() const = 0;        // "INSTR", "SOCKET"
  virtual int InterfaceNumber() const { return 0; }     // the board number
};

// The settings every link keeps the same way: the session timeout and the termination
// character.
struct LinkSettings {
  int timeoutMs = 2000;
  char termChar = '\n';
  bool termEnabled = false;

  // On a link without END the termination character ends a message: a write with END gets it
  // appended unless the message already ends with it.
  bool AppendsTerm(const char* data, std::size_t size, bool end) const {
    return end && termEnabled && (size == 0 || data[size - 1] != termChar);
  }
};

// The state every transport shares: its LinkSettings and its board number. A transport that
// hands a setting on to its device (a socket option, an ioctl, a VISA attribute) overrides the
// setter and calls CTransportBase's first.
class CTransportBase : public ITransport {
 public:
  void SetTimeout(int milliseconds) override { link_.timeoutMs = std::max(0, milliseconds); }
  int Timeout() const override { return link_.timeoutMs; }
  void SetTermChar(char c, bool enabled) override {
    link_.termChar = c;
    link_.termEnabled = enabled;
  }
  char TermChar() const override { return link_.termChar; }
  bool TermCharEnabled() const override { return link_.termEnabled; }
  int InterfaceNumber() const override { return interfaceNumber_; }

 protected:
  CTransportBase(int timeoutMs, bool termEnabled, int interfaceNumber = 0)
      : link_{std::max(0, timeoutMs), '\n', termEnabled}, interfaceNumber_(interfaceNumber) {}

  LinkSettings link_;
  int interfaceNumber_;
};

// Options handed to a transport at open: the session timeout and the DriverSetup items
// (IoBackend, baud rate, portmapper port, ...), keyed by lower-case name.
struct TransportOptions {
  int timeoutMs = 2000;
  int openTimeoutMs = 2000;
  std::map<std::string, std::string> setup;
  std::string Get(std::string_view lowerName, std::string_view fallback = {}) const {
    auto it = setup.find(std::string(lowerName));
    return it == setup.end() ? std::string(fallback) : it->second;
  }
};

}  // namespace veqdx::io
