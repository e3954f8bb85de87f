// Resource strings ("VISA resource descriptors") as the driver accepts them:
//
//   TCPIP[board]::host::port::SOCKET                      raw TCP socket, line-feed terminated
//   TCPIP[board]::host[::device]::INSTR                   LAN instrument (VXI-11, HiSLIP)
//   ASRL<n>::INSTR, ASRL/dev/<tty>::INSTR                 serial line
//   USB[board]::<vid>::<pid>::<serial>[::<intf>]::INSTR   USB test and measurement class
//   GPIB[board]::<addr>[::<secondary>]::INSTR             GPIB, through a VISA library only
//
// Keywords match in any case; board numbers default to 0. An IPv6 host is written in brackets
// ("TCPIP::[fe80::1%eth0]::5025::SOCKET"); a socket resource also takes it bare
// ("TCPIP::::1::5025::SOCKET"), since the port is always the last field before SOCKET. A bare
// IPv6 host of an INSTR resource is taken whole when the text is an IPv6 address, otherwise
// a trailing "::name" is the device name; use brackets where that reading is not the one meant.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "io/transport.h"

namespace veqdx::io {

enum class ResourceKind { TcpipSocket, TcpipInstr, Serial, UsbTmc, Gpib };

struct Resource {
  ResourceKind kind = ResourceKind::TcpipSocket;
  std::string text;      // the descriptor as given (blanks around it trimmed)
  int board = 0;         // TCPIP/USB/GPIB board number

  // TCPIP
  std::string host;      // name or address, IPv6 without brackets
  std::uint16_t port = 0;        // SOCKET only
  std::string device;    // INSTR device name, "inst0" when not given

  // ASRL: either a port number or a device path
  int serialPort = -1;   // ASRL<n>
  std::string ttyPath;   // ASRL/dev/ttyUSB0 -> "/dev/ttyUSB0"

  // USB
  std::uint16_t vendorId = 0;
  std::uint16_t productId = 0;
  std::string serialNumber;
  int usbInterface = -1;  // -1: not given

  // GPIB
  int primaryAddress = -1;
  int secondaryAddress = -1;  // -1: none

  InterfaceType Interface() const;
  // "SOCKET" for raw sockets, "INSTR" for the rest.
  std::string ResourceClass() const;
  // Short name of the protocol behind the resource, for messages: "raw socket", "VXI-11",
  // "HiSLIP", "serial", "USB TMC", "GPIB".
  std::string ProtocolName() const;
};

// Parses `text` into `out`. On failure returns false and `error` explains what is wrong,
// naming the descriptor, e.g. "Invalid resource descriptor 'TCPIP::host::SOCKET': expected
// TCPIP[board]::host::port::SOCKET".
bool ParseResource(std::string_view text, Resource& out, std::string& error);

}  // namespace veqdx::io
