#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "io_test_util.h"
#include "veqdx/status.hpp"

namespace veqdx::io {
namespace {

using test::IoErrorText;
using test::LastDescription;
using test::OpenFailureText;
using test::ScriptedSession;

TEST(IoSession, SimulatedOpenTouchesNothing) {
  CVelmoraQdxErrorReporter reporter;
  CIoSession session(reporter);
  IoOpenOptions options;
  options.simulate = true;
  // Port 1 on loopback: a real open would be refused.
  ASSERT_EQ(session.Open("TCPIP::127.0.0.1::1::SOCKET", options), S_OK);
  EXPECT_TRUE(session.IsOpen());
  EXPECT_TRUE(session.Simulate());
  EXPECT_EQ(session.ResourceDescriptor(), "TCPIP::127.0.0.1::1::SOCKET");
  EXPECT_EQ(session.Buffer(), nullptr);
  EXPECT_EQ(session.Transport(), nullptr);
  EXPECT_EQ(session.GetInterfaceType(), InterfaceType::Tcpip);
  EXPECT_EQ(session.GetResourceClass(), "SOCKET");
  EXPECT_TRUE(session.GetTerminationCharacterEnabled());
  EXPECT_EQ(session.LowLevelWriteStringNoPoll("*RST"), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastDescription(), IoErrorText("no I/O reaches a device while simulating"));
  ASSERT_EQ(session.Close(), S_OK);
  EXPECT_FALSE(session.IsOpen());
}

// Whatever failed, the open reports the one general I/O error naming the descriptor that was
// given and what the link said, so the user knows what to fix. The socket and VXI-11 tests
// cover refused connects the same way.
TEST(IoSession, OpenFailureNamesTheResourceDescriptorAndTheCause) {
  CVelmoraQdxErrorReporter reporter;
  CIoSession session(reporter);
  IoOpenOptions builtin;
  builtin.transport.setup["iobackend"] = "builtin";
  const std::pair<const char*, const char*> cases[] = {
      {"TCPIP::host::SOCKET", "Invalid resource descriptor 'TCPIP::host::SOCKET': expected "
                              "TCPIP[board]::host::port::SOCKET (the port is missing)."},
      {"TCPIP::x::SOCKT", "Invalid resource descriptor 'TCPIP::x::SOCKT': "},
      {"PXI0::3::INSTR", "Invalid resource descriptor 'PXI0::3::INSTR': unknown interface; "
                         "expected TCPIP, ASRL, USB or GPIB."},
      {"ASRL/dev/veqdx-no-such-tty::INSTR", "/dev/veqdx-no-such-tty"},
      {"GPIB0::5::INSTR", "GPIB resources need an installed VISA library"},
  };
  for (const auto& [resource, cause] : cases) {
    ClearThreadErrorRecord();
    EXPECT_EQ(session.Open(resource, builtin), E_VELMORAQDX_IO_GENERAL) << resource;
    EXPECT_EQ(LastDescription().rfind(OpenFailureText(resource, ""), 0), 0u) << LastDescription();
    EXPECT_NE(LastDescription().find(cause), std::string::npos) << LastDescription();
    EXPECT_FALSE(session.IsOpen());
    EXPECT_EQ(session.GetLastStatus(), E_VELMORAQDX_IO_GENERAL);
  }
}

TEST(IoSession, LowLevelOperationsNeverPoll) {
  ScriptedSession s;
  int polls = 0;
  s.session.SetPollHook([&] {
    ++polls;
    return S_OK;
  });
  s.device->OnQuery("*IDN?", "Velmora,QDX750L,1,2\n");
  std::size_t written = 0;
  ASSERT_EQ(s.session.LowLevelWriteNoPoll("*IDN?", 5, written), S_OK);
  EXPECT_EQ(written, 5u);
  char reply[64];
  std::size_t got = 0;
  std::int32_t status = -1;
  ASSERT_EQ(s.session.LowLevelReadNoPoll(reply, sizeof reply, got, status), S_OK);
  EXPECT_EQ(std::string(reply, got), "Velmora,QDX750L,1,2\n");
  EXPECT_EQ(status, 0);
  ASSERT_EQ(s.session.LowLevelWriteStringNoPoll("*IDN?"), S_OK);
  std::string text;
  ASSERT_EQ(s.session.LowLevelReadStringNoPoll(7, text, status), S_OK);
  EXPECT_EQ(text, "Velmora");
  EXPECT_EQ(status, kReadStatusMaxCount);
  EXPECT_EQ(s.session.GetLastStatus(), kReadStatusMaxCount);
  ASSERT_EQ(s.session.LowLevelReadStringNoPoll(100, text, status), S_OK);
  EXPECT_EQ(text, ",QDX750L,1,2\n");
  EXPECT_EQ(status, 0);
  // The buffered layer's transfers do not poll either.
  ASSERT_EQ(s.buffer().Write(":OUTP ON"), S_OK);
  ASSERT_EQ(s.buffer().Flush(true), S_OK);
  EXPECT_EQ(polls, 0);
  EXPECT_EQ(s.device->Written(),
            (std::vector<std::string>{"*IDN?", "*IDN?", ":OUTP ON"}));
}

TEST(IoSession, PollRunsTheHookButNotFromInsideIt) {
  ScriptedSession s;
  EXPECT_EQ(s.session.Poll(), S_OK);  // no hook: nothing checked
  int polls = 0;
  s.session.SetPollHook([&] {
    ++polls;
    EXPECT_EQ(s.session.Poll(), S_OK);  // the hook's own query
    return E_IVI_INSTRUMENT_STATUS;
  });
  EXPECT_EQ(s.session.Poll(), E_IVI_INSTRUMENT_STATUS);
  EXPECT_EQ(s.session.Poll(), E_IVI_INSTRUMENT_STATUS);
  EXPECT_EQ(polls, 2);
}

TEST(IoSession, LowLevelFailuresMapToIoErrorTimeoutAndInvalidArgument) {
  ScriptedSession s;
  char reply[8];
  std::size_t got = 0;
  std::int32_t status = 0;
  EXPECT_EQ(s.session.LowLevelReadNoPoll(reply, sizeof reply, got, status),
            E_VELMORAQDX_IO_TIMEOUT);
  EXPECT_EQ(LastDescription(), "VelmoraQdx: I/O timeout error: no reply within 2000 ms.\r\n");
  EXPECT_EQ(s.session.GetLastStatus(), E_VELMORAQDX_IO_TIMEOUT);
  s.device->FailNextWrite("peer gone");
  EXPECT_EQ(s.session.LowLevelWriteStringNoPoll("X"), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastDescription(), IoErrorText("peer gone"));
  s.device->AcceptAtMostNextWrite(2);
  EXPECT_EQ(s.session.LowLevelWriteStringNoPoll("ABCD"), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastDescription(),
            IoErrorText("LowLevelWriteStringNoPoll sent only 2 of 4 bytes to the device"));
  std::size_t n = 0;
  EXPECT_EQ(s.session.LowLevelWriteNoPoll(nullptr, 3, n), E_INVALIDARG);
  EXPECT_NE(LastDescription().find("LowLevelWriteNoPoll"), std::string::npos);
  EXPECT_EQ(s.session.LowLevelReadNoPoll(nullptr, 3, n, status), E_INVALIDARG);
  EXPECT_EQ(s.session.OpenWithTransport("X", nullptr), E_INVALIDARG);
  EXPECT_EQ(s.device->Written(), std::vector<std::string>{"AB"});
}

TEST(IoSession, StatusByte) {
  ScriptedSession s;
  s.device->SetStatusByte(0x60);
  EXPECT_EQ(s.session.ReadStatusByte(nullptr), E_IVI_NULL_POINTER);
  EXPECT_EQ(LastDescription(),
            "VelmoraQdx: Null pointer passed for method ReadStatusBte, parameter StatusByte.\r\n");
  std::uint8_t stb = 0;
  ASSERT_EQ(s.session.ReadStatusByte(&stb), S_OK);
  EXPECT_EQ(stb, 0x60);
  s.device->SetStatusByteSupported(false);
  stb = 7;
  EXPECT_EQ(s.session.ReadStatusByte(&stb), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(stb, 7);
  EXPECT_EQ(LastDescription(),
            IoErrorText("the scripted device does not support the status byte"));
}

// Clear drops both buffers and clears the device; ClearErrorState drops only the buffers and
// sends nothing.
TEST(IoSession, ClearAndClearErrorStateDropBothBuffers) {
  for (bool clear : {true, false}) {
    SCOPED_TRACE(clear ? "Clear" : "ClearErrorState");
    ScriptedSession s;
    s.device->Reply("stale\n", {.chunk = 2});
    int c = 0;
    ASSERT_EQ(s.buffer().ReadChar(c), S_OK);
    ASSERT_EQ(s.buffer().Write(":VOLT 1"), S_OK);
    if (clear) {
      ASSERT_EQ(s.session.Clear(), S_OK);
    } else {
      s.session.ClearErrorState();
    }
    EXPECT_EQ(s.device->ClearCount(), clear ? 1 : 0);
    EXPECT_EQ(s.device->PendingOutput(), clear ? 0u : 4u);
    EXPECT_EQ(s.buffer().WritePending(), 0);
    EXPECT_EQ(s.buffer().ReadPending(), 0);
    EXPECT_EQ(s.device->Reads().size(), 1u);
    EXPECT_TRUE(s.device->Writes().empty());
    if (!clear) continue;
    s.device->Reply("fresh\n");
    EXPECT_EQ(test::ReadAll(s.buffer()), "fresh\n");
  }
}

TEST(IoSession, LockSessionInfoAndCloseReachTheTransport) {
  auto device = std::make_shared<ScriptedDevice>(InterfaceType::Serial, "INSTR", 2);
  ScriptedSession s(device);
  ASSERT_EQ(s.session.Lock(100), S_OK);
  EXPECT_EQ(device->LockCount(), 1);
  ASSERT_EQ(s.session.Unlock(), S_OK);
  EXPECT_EQ(device->LockCount(), 0);
  EXPECT_EQ(s.session.GetInterfaceType(), InterfaceType::Serial);
  EXPECT_EQ(s.session.GetInterfaceNumber(), 2);
  EXPECT_EQ(s.session.GetTerminationCharacter(), '\n');
  EXPECT_TRUE(s.session.GetTerminationCharacterEnabled());
  s.session.SetTimeout(150);
  EXPECT_EQ(s.session.Transport()->Timeout(), 150);
  // Closing releases the transport and the buffers.
  EXPECT_TRUE(s.device->Connected());
  ASSERT_EQ(s.session.Close(), S_OK);
  EXPECT_FALSE(s.device->Connected());
  EXPECT_FALSE(s.session.IsOpen());
  EXPECT_EQ(s.session.Buffer(), nullptr);
  EXPECT_EQ(s.session.LowLevelWriteStringNoPoll("*CLS"), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastDescription(), IoErrorText("the I/O session is not open"));
  std::uint8_t stb = 0;
  EXPECT_EQ(s.session.ReadStatusByte(&stb), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(s.session.Clear(), E_VELMORAQDX_IO_GENERAL);
  EXPECT_TRUE(s.device->Writes().empty());
  // Reopening works on a fresh transport.
  ASSERT_EQ(s.session.OpenWithTransport("TCPIP::scripted::INSTR", s.device->Connect()), S_OK);
  EXPECT_EQ(s.session.Buffer()->WriteCapacity(), 4096);
  ASSERT_EQ(s.session.LowLevelWriteStringNoPoll("*CLS"), S_OK);
  EXPECT_EQ(device->Written(), std::vector<std::string>{"*CLS"});
}

}  // namespace
}  // namespace veqdx::io
