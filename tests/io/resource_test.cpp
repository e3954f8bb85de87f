#include "io/resource.h"

#include <gtest/gtest.h>

namespace veqdx::io {
namespace {

// Every field a resource string sets, as one line: "<class> <protocol> board host port device
// asrl tty vid pid serial intf primary secondary".
std::string Fields(const Resource& r) {
  return r.ResourceClass() + " " + r.ProtocolName() + " " + std::to_string(r.board) + " " + r.host +
         " " + std::to_string(r.port) + " " + r.device + " " + std::to_string(r.serialPort) + " " +
         r.ttyPath + " " + std::to_string(r.vendorId) + " " + std::to_string(r.productId) + " " +
         r.serialNumber + " " + std::to_string(r.usbInterface) + " " +
         std::to_string(r.primaryAddress) + " " + std::to_string(r.secondaryAddress) + " " +
         std::to_string(static_cast<int>(r.Interface()));
}

TEST(ParseResource, EveryFormGivesItsFields) {
  const std::pair<const char*, const char*> good[] = {
      {"TCPIP::10.0.0.5::5025::SOCKET", "SOCKET raw socket 0 10.0.0.5 5025  -1  0 0  -1 -1 -1 5"},
      {"tcpip3::psu-7.lab.example::5025::socket", "SOCKET raw socket 3 psu-7.lab.example 5025  -1  0 0  -1 -1 -1 5"},
      {"  TCPIP0::host::65535::SOCKET  ", "SOCKET raw socket 0 host 65535  -1  0 0  -1 -1 -1 5"},
      {"TCPIP::[::1]::5025::SOCKET", "SOCKET raw socket 0 ::1 5025  -1  0 0  -1 -1 -1 5"},
      {"TCPIP::::1::5025::SOCKET", "SOCKET raw socket 0 ::1 5025  -1  0 0  -1 -1 -1 5"},
      {"TCPIP::fe80::1%eth0::5025::SOCKET", "SOCKET raw socket 0 fe80::1%eth0 5025  -1  0 0  -1 -1 -1 5"},
      {"TCPIP1::[2001:db8::7]::5025::SOCKET", "SOCKET raw socket 1 2001:db8::7 5025  -1  0 0  -1 -1 -1 5"},
      {"TCPIP::10.0.0.5::INSTR", "INSTR VXI-11 0 10.0.0.5 0 inst0 -1  0 0  -1 -1 -1 5"},
      {"TcpIp0::10.0.0.5::inst1::Instr", "INSTR VXI-11 0 10.0.0.5 0 inst1 -1  0 0  -1 -1 -1 5"},
      {"TCPIP::host::hislip0::INSTR", "INSTR HiSLIP 0 host 0 hislip0 -1  0 0  -1 -1 -1 5"},
      {"TCPIP::host::gpib0,5::INSTR", "INSTR VXI-11 0 host 0 gpib0,5 -1  0 0  -1 -1 -1 5"},
      {"TCPIP::fe80::1::INSTR", "INSTR VXI-11 0 fe80::1 0 inst0 -1  0 0  -1 -1 -1 5"},
      {"TCPIP::::1::inst0::INSTR", "INSTR VXI-11 0 ::1 0 inst0 -1  0 0  -1 -1 -1 5"},
      {"TCPIP::[fe80::abc]::INSTR", "INSTR VXI-11 0 fe80::abc 0 inst0 -1  0 0  -1 -1 -1 5"},
      {"TCPIP::[::1]::inst2::INSTR", "INSTR VXI-11 0 ::1 0 inst2 -1  0 0  -1 -1 -1 5"},
      {"ASRL3::INSTR", "INSTR serial 0  0  3  0 0  -1 -1 -1 3"},
      {"asrl/dev/ttyUSB0::instr", "INSTR serial 0  0  -1 /dev/ttyUSB0 0 0  -1 -1 -1 3"},
      {"ASRL/dev/serial/by-id/usb-Velmora_QDX-if00::INSTR",
       "INSTR serial 0  0  -1 /dev/serial/by-id/usb-Velmora_QDX-if00 0 0  -1 -1 -1 3"},
      {"USB0::0x1AB1::0x0e11::DP8C1234::INSTR", "INSTR USB TMC 0  0  -1  6833 3601 DP8C1234 -1 -1 -1 6"},
      {"usb2::6833::3601::sn-1::1::INSTR", "INSTR USB TMC 2  0  -1  6833 3601 sn-1 1 -1 -1 6"},
      {"GPIB0::12::INSTR", "INSTR GPIB 0  0  -1  0 0  -1 12 -1 0"},
      {"gpib1::5::30::instr", "INSTR GPIB 1  0  -1  0 0  -1 5 30 0"},
  };
  for (const auto& [text, fields] : good) {
    Resource r;
    std::string error;
    ASSERT_TRUE(ParseResource(text, r, error)) << error;
    EXPECT_EQ(Fields(r), fields) << text;
  }
}

// The message names the descriptor as given (trimmed) and what is wrong with it.
TEST(ParseResource, MalformedOnesSayWhy) {
  const std::pair<const char*, const char*> bad[] = {
      {"", "empty"}, {"VXI0::1::INSTR", "unknown interface"},
      {"TCPIP", "expected TCPIP[board]::host::port::SOCKET"},
      {"TCPIP::host::SOCKET", "the port is missing"},
      {"TCPIP::host::0::SOCKET", "port '0' is not a number from 1 to 65535"},
      {"TCPIP::host::65536::SOCKET", "port '65536'"}, {"TCPIP::host::50x::SOCKET", "port '50x'"},
      {"TCPIP::::5025::SOCKET", "the host is missing"},
      {"TCPIP::ho st::5025::SOCKET", "invalid characters"},
      {"TCPIP::[10.0.0.1]::5025::SOCKET", "not an IPv6 address"},
      {"TCPIP::fe80:::1::5025::SOCKET", "neither a host name nor an IP address"},
      {"TCPIPx::host::5025::SOCKET", "board number 'x'"},
      {"TCPIP::host::5025::RAW", "expected TCPIP"}, {"TCPIP::INSTR", "expected TCPIP"},
      {"TCPIP::host::9inst::INSTR", "device name '9inst'"}, {"TCPIP::[::1::INSTR", "not closed"},
      {"ASRL::INSTR", "expected ASRL<n>::INSTR"}, {"ASRL1", "expected ASRL<n>::INSTR"},
      {"ASRL/::INSTR", "is not a device path"}, {"USB::0x1AB1::0x0E11::INSTR", "expected USB[board]"},
      {"USB::0x1AB1G::0x0E11::SN::INSTR", "vendor id '0x1AB1G'"},
      {"USB::0x1AB1::70000::SN::INSTR", "product id '70000'"},
      {"USB::1::2::::INSTR", "serial number is empty"},
      {"USB::1::2::SN::256::INSTR", "interface number '256'"},
      {"GPIB::31::INSTR", "primary address '31'"}, {"GPIB::1::2::3::INSTR", "expected GPIB[board]"},
      {"GPIB0::12", "expected GPIB[board]"},
  };
  for (const auto& [text, because] : bad) {
    Resource r;
    std::string error;
    ASSERT_FALSE(ParseResource(text, r, error)) << text;
    EXPECT_NE(error.find(because), std::string::npos) << error;
    EXPECT_NE(error.find(std::string("'") + text + "'"), std::string::npos) << error;
  }
}

}  // namespace
}  // namespace veqdx::io
