#include "io/resource.h"

#include <gtest/gtest.h>

namespace veqdx::io {
namespace {

struct Good {
  const char* text;
  ResourceKind kind;
  int board;
  const char* host;
  int port;
  const char* device;
};

class ParsesTcpip : public ::testing::TestWithParam<Good> {};

TEST_P(ParsesTcpip, Fields) {
  const Good& g = GetParam();
  Resource r;
  std::string error;
  ASSERT_TRUE(ParseResource(g.text, r, error)) << error;
  EXPECT_EQ(r.kind, g.kind);
  EXPECT_EQ(r.board, g.board);
  EXPECT_EQ(r.host, g.host);
  EXPECT_EQ(r.port, g.port);
  EXPECT_EQ(r.device, g.device);
  EXPECT_EQ(r.Interface(), InterfaceType::Tcpip);
  EXPECT_EQ(r.ResourceClass(), g.kind == ResourceKind::TcpipSocket ? "SOCKET" : "INSTR");
}

constexpr auto kSock = ResourceKind::TcpipSocket;
constexpr auto kInstr = ResourceKind::TcpipInstr;

INSTANTIATE_TEST_SUITE_P(
    Forms, ParsesTcpip,
    ::testing::Values(
        Good{"TCPIP::10.0.0.5::5025::SOCKET", kSock, 0, "10.0.0.5", 5025, ""},
        Good{"tcpip3::psu-7.lab.example::5025::socket", kSock, 3, "psu-7.lab.example", 5025, ""},
        Good{"  TCPIP0::host::1::SOCKET  ", kSock, 0, "host", 1, ""},
        Good{"TCPIP::host::65535::SOCKET", kSock, 0, "host", 65535, ""},
        Good{"TCPIP::[::1]::5025::SOCKET", kSock, 0, "::1", 5025, ""},
        Good{"TCPIP::::1::5025::SOCKET", kSock, 0, "::1", 5025, ""},
        Good{"TCPIP::fe80::1%eth0::5025::SOCKET", kSock, 0, "fe80::1%eth0", 5025, ""},
        Good{"TCPIP1::[2001:db8::7]::5025::SOCKET", kSock, 1, "2001:db8::7", 5025, ""},
        Good{"TCPIP::10.0.0.5::INSTR", kInstr, 0, "10.0.0.5", 0, "inst0"},
        Good{"TcpIp0::10.0.0.5::inst1::Instr", kInstr, 0, "10.0.0.5", 0, "inst1"},
        Good{"TCPIP::host::hislip0::INSTR", kInstr, 0, "host", 0, "hislip0"},
        Good{"TCPIP::host::gpib0,5::INSTR", kInstr, 0, "host", 0, "gpib0,5"},
        Good{"TCPIP::fe80::1::INSTR", kInstr, 0, "fe80::1", 0, "inst0"},
        Good{"TCPIP::::1::inst0::INSTR", kInstr, 0, "::1", 0, "inst0"},
        Good{"TCPIP::[fe80::abc]::INSTR", kInstr, 0, "fe80::abc", 0, "inst0"},
        Good{"TCPIP::[::1]::inst2::INSTR", kInstr, 0, "::1", 0, "inst2"}));

TEST(ParseResource, SerialUsbAndGpibForms) {
  Resource r;
  std::string error;
  ASSERT_TRUE(ParseResource("ASRL3::INSTR", r, error)) << error;
  EXPECT_EQ(r.kind, ResourceKind::Serial);
  EXPECT_EQ(r.serialPort, 3);
  EXPECT_EQ(r.Interface(), InterfaceType::Serial);

  ASSERT_TRUE(ParseResource("asrl/dev/ttyUSB0::instr", r, error)) << error;
  EXPECT_EQ(r.ttyPath, "/dev/ttyUSB0");  // the path keeps its case
  EXPECT_EQ(r.serialPort, -1);
  ASSERT_TRUE(ParseResource("ASRL/dev/serial/by-id/usb-Velmora_QDX-if00::INSTR", r, error));
  EXPECT_EQ(r.ttyPath, "/dev/serial/by-id/usb-Velmora_QDX-if00");

  ASSERT_TRUE(ParseResource("USB0::0x1AB1::0x0e11::DP8C1234::INSTR", r, error)) << error;
  EXPECT_EQ(r.kind, ResourceKind::UsbTmc);
  EXPECT_EQ(r.vendorId, 0x1AB1);
  EXPECT_EQ(r.productId, 0x0E11);
  EXPECT_EQ(r.serialNumber, "DP8C1234");
  EXPECT_EQ(r.usbInterface, -1);
  EXPECT_EQ(r.Interface(), InterfaceType::Usb);

  ASSERT_TRUE(ParseResource("usb2::6833::3601::sn-1::1::INSTR", r, error)) << error;
  EXPECT_EQ(r.board, 2);
  EXPECT_EQ(r.vendorId, 6833);
  EXPECT_EQ(r.productId, 3601);
  EXPECT_EQ(r.serialNumber, "sn-1");
  EXPECT_EQ(r.usbInterface, 1);

  ASSERT_TRUE(ParseResource("GPIB0::12::INSTR", r, error)) << error;
  EXPECT_EQ(r.kind, ResourceKind::Gpib);
  EXPECT_EQ(r.primaryAddress, 12);
  EXPECT_EQ(r.secondaryAddress, -1);
  ASSERT_TRUE(ParseResource("gpib1::5::30::instr", r, error)) << error;
  EXPECT_EQ(r.board, 1);
  EXPECT_EQ(r.secondaryAddress, 30);
  EXPECT_EQ(r.Interface(), InterfaceType::Gpib);
}

struct Bad {
  const char* text;
  const char* because;  // part of the error text
};

class RejectsMalformed : public ::testing::TestWithParam<Bad> {};

TEST_P(RejectsMalformed, WithReason) {
  const Bad& b = GetParam();
  Resource r;
  std::string error;
  ASSERT_FALSE(ParseResource(b.text, r, error));
  EXPECT_NE(error.find(b.because), std::string::npos) << error;
  // The message names the descriptor as given (trimmed).
  EXPECT_NE(error.find(std::string("'") + b.text + "'"), std::string::npos) << error;
}

INSTANTIATE_TEST_SUITE_P(
    Errors, RejectsMalformed,
    ::testing::Values(
        Bad{"", "empty"},
        Bad{"VXI0::1::INSTR", "unknown interface"},
        Bad{"TCPIP", "expected TCPIP[board]::host::port::SOCKET"},
        Bad{"TCPIP::host::SOCKET", "the port is missing"},
        Bad{"TCPIP::host::0::SOCKET", "port '0' is not a number from 1 to 65535"},
        Bad{"TCPIP::host::65536::SOCKET", "port '65536'"},
        Bad{"TCPIP::host::50x::SOCKET", "port '50x'"},
        Bad{"TCPIP::::5025::SOCKET", "the host is missing"},
        Bad{"TCPIP::ho st::5025::SOCKET", "invalid characters"},
        Bad{"TCPIP::[10.0.0.1]::5025::SOCKET", "not an IPv6 address"},
        Bad{"TCPIP::fe80:::1::5025::SOCKET", "neither a host name nor an IP address"},
        Bad{"TCPIPx::host::5025::SOCKET", "board number 'x'"},
        Bad{"TCPIP::host::5025::RAW", "expected TCPIP"},
        Bad{"TCPIP::INSTR", "expected TCPIP"},
        Bad{"TCPIP::host::9inst::INSTR", "device name '9inst'"},
        Bad{"TCPIP::[::1::INSTR", "not closed"},
        Bad{"ASRL::INSTR", "expected ASRL<n>::INSTR"},
        Bad{"ASRL1", "expected ASRL<n>::INSTR"},
        Bad{"ASRL/::INSTR", "is not a device path"},
        Bad{"USB::0x1AB1::0x0E11::INSTR", "expected USB[board]"},
        Bad{"USB::0x1AB1G::0x0E11::SN::INSTR", "vendor id '0x1AB1G'"},
        Bad{"USB::0x1AB1::70000::SN::INSTR", "product id '70000'"},
        Bad{"USB::1::2::::INSTR", "serial number is empty"},
        Bad{"USB::1::2::SN::256::INSTR", "interface number '256'"},
        Bad{"GPIB::31::INSTR", "primary address '31'"},
        Bad{"GPIB::1::2::3::INSTR", "expected GPIB[board]"},
        Bad{"GPIB0::12", "expected GPIB[board]"}));

}  // namespace
}  // namespace veqdx::io
