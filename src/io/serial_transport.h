// The built-in serial transport for ASRL<n>::INSTR and ASRL/dev/<tty>::INSTR resources.
//
// Which device: ASRL<n> is the n-th serial port of the machine, /dev/ttyS<n-1> (ASRL1 is
// /dev/ttyS0, as VISA numbers ports from 1); ASRL/dev/ttyUSB0 names the device itself, which
// is the form to use for USB adapters (/dev/ttyUSB*, /dev/ttyACM*) and pseudo-terminals.
//
// The port is opened exclusively: O_NOCTTY (the instrument must never become our controlling
// terminal) and O_CLOEXEC, an advisory flock() that other well-behaved programs honour, and
// TIOCEXCL so that the kernel refuses further opens (released again at close). It runs in raw
// mode (no echo, no line editing, no character translation) with the line settings taken
// from these DriverSetup items, names and values in any case:
//   BaudRate=9600        standard rates from 50 to 4000000
//   DataBits=8           5, 6, 7 or 8
//   Parity=none          none, odd, even, mark or space
//   StopBits=1           1, 1.5 or 2 (1.5 only with 5 data bits, where UARTs offer it)
//   FlowControl=none     none, xonxoff or rtscts
// Messages are line-feed terminated (serial_stream.h); every read and write waits at most the
// session timeout. Input that was waiting at open is thrown away.
#pragma once
#include <termios.h>

#include <memory>
#include <string>

#include "io/serial_stream.h"
#include "io/transport.h"

namespace veqdx::io {

struct SerialSettings {
  enum class Parity { None, Odd, Even, Mark, Space };
  enum class StopBits { One, OneAndHalf, Two };
  enum class FlowControl { None, XonXoff, RtsCts };

  unsigned baudRate = 9600;
  int dataBits = 8;
  Parity parity = Parity::None;
  StopBits stopBits = StopBits::One;
  FlowControl flowControl = FlowControl::None;

  // Reads the DriverSetup items above; false with a message naming the item and the values
  // it takes when one is not understood.
  static bool FromOptions(const TransportOptions& options, SerialSettings& out,
                          std::string& error);
};

// Raw mode with `settings` on `tio` (what the transport applies at open; a pseudo-terminal
// keeps only some of it, as it forces 8 data bits and no parity).
void ApplySerialSettings(const SerialSettings& settings, termios& tio);

// The device of a serial resource: `asrlNumber` >= 1 gives /dev/ttyS<n-1>; otherwise
// `ttyPath` is used as it is. False with a message for ASRL0.
bool SerialDevicePath(int asrlNumber, const std::string& ttyPath, std::string& path,
                      std::string& error);

class CSerialTransport final : public CTransportBase {
 public:
  // Opens and configures `path`. On failure returns nullptr with `result` saying what is
  // wrong (no such device, not a terminal, in use, no permission, an unsupported setting).
  // `interfaceNumber` is what the session reports (the n of ASRL<n>, 0 for a path).
  static std::unique_ptr<CSerialTransport> Open(const std::string& path, int interfaceNumber,
                                               const TransportOptions& options,
                                               IoResult& result);
  ~CSerialTransport() override;
  CSerialTransport(const CSerialTransport&) = delete;
  CSerialTransport& operator=(const CSerialTransport&) = delete;

  IoResult Write(const char* data, std::size_t size, bool end, std::size_t& written) override {
    return stream_.Write(data, size, end, written);
  }
  IoResult Read(char* buffer, std::size_t max, std::size_t& got, ReadEnd& why) override {
    return stream_.Read(buffer, max, got, why);
  }

  // Throws away pending input and output in both directions; sends nothing. A serial line
  // carries no status byte, and the port is exclusive already: there is nothing to lock out.
  IoResult Clear() override;
  void Close() override;
  std::string LinkName() const override { return "serial port " + stream_.Label(); }

  InterfaceType Interface() const override { return InterfaceType::Serial; }
  std::string ResourceClass() const override { return "INSTR"; }

  const std::string& Path() const { return stream_.Label(); }
  const SerialSettings& Settings() const { return settings_; }

 private:
  CSerialTransport(int fd, const std::string& path, int interfaceNumber, int timeoutMs,
                  const SerialSettings& settings);

  CFdStream stream_;
  SerialSettings settings_;
};

}  // namespace veqdx::io
