// The VISA adapter against the fake VISA library: what it asks of VISA, and how VISA's
// answers become the driver's.
#include "io/visa_transport.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "base/error_reporter.h"
#include "io/io_session.h"
#include "transport_test_util.h"

namespace veqdx::io {
namespace {

using test::FakeVisa;
using Lines = std::vector<std::string>;

class VisaTransportTest : public ::testing::Test {
 protected:
  std::unique_ptr<ITransport> Open(const std::string& resource, const std::string& backend = "visa") {
    TransportOptions options;
    options.setup["iobackend"] = backend;
    return OpenTransport(resource, options, result);
  }
  CVisaTransport* AsVisa(const std::unique_ptr<ITransport>& t) {
    return dynamic_cast<CVisaTransport*>(t.get());
  }
  // The viSetAttribute calls of the log, as "0xID value".
  static Lines SetAttributes(const Lines& calls) {
    Lines sets;
    for (const auto& c : calls) {
      if (c.rfind("viSetAttribute ", 0) == 0) sets.push_back(c.substr(15));
    }
    return sets;
  }
  static bool Contains(const Lines& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }

  FakeVisa visa;
  IoResult result;
};

TEST_F(VisaTransportTest, OpensWithoutLockWithTheOpenTimeoutAndClosesBothHandles) {
  auto t = Open("GPIB0::5::INSTR");
  ASSERT_NE(t, nullptr) << result.message;
  Lines calls = visa.Calls();
  ASSERT_GE(calls.size(), 2u);
  EXPECT_EQ(calls[0], "viOpenDefaultRM");
  EXPECT_EQ(calls[1], "viOpen GPIB0::5::INSTR mode=0 timeout=2000");
  // The operations the driver refuses send nothing to VISA.
  CVisaSessionExtras& extras = *AsVisa(t);
  std::uint8_t u8 = 0;
  std::uint32_t job = 0;
  std::uint64_t offset = 0;
  char buffer[8];
  EXPECT_EQ(extras.In8(1, 0, u8).message, kRefuseRegister);
  EXPECT_EQ(extras.WriteAsync("*RST", 4, job).message, kRefuseAsync);
  EXPECT_EQ(extras.ReadAsync(buffer, sizeof buffer, job).message, kRefuseAsync);
  EXPECT_EQ(extras.AllocateMemory(16, offset).message, kRefuseSharedMemory);
  EXPECT_EQ(visa.Calls(), Lines{});
  t->Close();
  t->Close();  // idempotent
  EXPECT_EQ(visa.Calls(), (Lines{"viClose session", "viClose rm"}));
}

TEST_F(VisaTransportTest, TerminationAttributesPerResourceClass) {
  const std::string termchar = "0x3FFF0018 10";
  const std::string termcharOn = "0x3FFF0038 1";
  const std::string asrlEndIn = "0x3FFF00B3 2";
  const struct {
    const char* resource;
    const char* script;
    bool lineFeed;
    bool serial;
    const char* resourceClass;
  } table[] = {
      {"ASRL1::INSTR", "", true, true, "INSTR"},
      {"TCPIP0::10.0.0.5::5025::SOCKET", "", true, false, "SOCKET"},
      {"TCPIP0::10.0.0.5::inst0::INSTR", "", false, false, "INSTR"},
      {"GPIB0::5::INSTR", "", false, false, "INSTR"},
      {"USB0::0x1AB1::0x0E11::SN1::INSTR", "", false, false, "INSTR"},
      // The name decides for TCPIP, even when the library reports another class.
      {"TCPIP0::10.0.0.5::5025::SOCKET", "sattr 0xBFFF0001 INSTR\n", true, false, "SOCKET"},
      // A class the library cannot say is OTHER, and gets no line feed.
      {"TCPIP0::10.0.0.5::inst0::INSTR", "attr_fail 0xBFFF0001 0xBFFF001D\n", false, false, "OTHER"},
      // The name's SOCKET counts in any case; only for TCPIP, and the line feed needs both.
      {"tcpip::h::5025::socket", "attr 0x3FFF0171 2 6\nattr_fail 0xBFFF0001 0xBFFF001D\n", true,
       false, "SOCKET"},
      {"ASRL1::SOCKET", "sattr 0xBFFF0001 INSTR\n", true, true, "INSTR"},
      {"GPIB0::5::INSTR", "sattr 0xBFFF0001 SOCKET\n", false, false, "SOCKET"},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(row.resource);
    visa.Script(row.script);
    auto t = Open(row.resource);
    ASSERT_NE(t, nullptr) << result.message;
    Lines sets = SetAttributes(visa.Calls());
    EXPECT_EQ(Contains(sets, termchar), row.lineFeed);
    EXPECT_EQ(Contains(sets, termcharOn), row.lineFeed);
    EXPECT_EQ(Contains(sets, asrlEndIn), row.serial);
    EXPECT_EQ(t->TermCharEnabled(), row.lineFeed);
    EXPECT_EQ(t->ResourceClass(), row.resourceClass);
    EXPECT_EQ(AsVisa(t)->ResourceName(), row.resource);
  }
}

TEST_F(VisaTransportTest, InterfaceTypeMappedFromTheLibrarysAnswer) {
  const struct {
    unsigned visaType;
    InterfaceType driver;
  } table[] = {{1, InterfaceType::Gpib},   {2, InterfaceType::Vxi},   {3, InterfaceType::GpibVxi},
               {4, InterfaceType::Serial}, {6, InterfaceType::Tcpip}, {7, InterfaceType::Usb}};
  for (const auto& row : table) {
    visa.Script("attr 0x3FFF0171 2 " + std::to_string(row.visaType) + "\nattr 0x3FFF0176 2 3\n");
    auto t = Open("GPIB3::5::INSTR");
    ASSERT_NE(t, nullptr) << result.message;
    EXPECT_EQ(t->Interface(), row.driver) << row.visaType;
    EXPECT_EQ(static_cast<unsigned>(t->Interface()), row.visaType - 1);  // the driver's numbers
    EXPECT_EQ(t->InterfaceNumber(), 3);
    EXPECT_EQ(AsVisa(t)->VisaInterfaceType(), row.visaType);
  }
  // A name the library cannot give is UNKNOWN.
  visa.Script("attr_fail 0xBFFF0002 0xBFFF001D\n");
  auto t = Open("GPIB0::5::INSTR");
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(AsVisa(t)->ResourceName(), "UNKNOWN");
}

// The transport names the descriptor and VISA's reason; the session reports any failed open,
// a timed-out one included, as the general open failure naming the descriptor and the reason.
TEST_F(VisaTransportTest, OpenFailureNamesTheDescriptorAndVisasReason) {
  const std::string openFailure =
      "VelmoraQdx: I/O error: Failed to open VISA resource..\r\n"
      "Resource descriptor = GPIB0::5::INSTR. Cause: ";
  visa.Script("open_status 0xBFFF0011\n");
  EXPECT_EQ(Open("GPIB0::5::INSTR"), nullptr);
  EXPECT_EQ(result.code, IoCode::Error);
  EXPECT_EQ(result.message,
            "viOpen GPIB0::5::INSTR: "
            "VI_ERROR_RSRC_NFOUND: Insufficient location information or the requested device "
            "or resource is not present in the system (VISA status 0xBFFF0011)");
  // The resource manager opened for the attempt is closed again.
  EXPECT_EQ(visa.Calls(), (Lines{"viOpenDefaultRM", "viOpen GPIB0::5::INSTR mode=0 timeout=2000",
                                 "viClose rm"}));

  CVelmoraQdxErrorReporter reporter;
  CIoSession session(reporter);
  IoOpenOptions options;
  options.transport.setup["iobackend"] = "visa";
  visa.Script("open_status 0xBFFF0011\n");
  EXPECT_EQ(session.Open("GPIB0::5::INSTR", options), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(ThreadErrorRecord().description, openFailure + result.message + ".");
  EXPECT_EQ(visa.Calls(), (Lines{"viOpenDefaultRM", "viOpen GPIB0::5::INSTR mode=0 timeout=2000",
                                 "viClose rm"}));

  visa.Script("open_status 0xBFFF0015\n");
  EXPECT_EQ(Open("GPIB0::5::INSTR"), nullptr);
  EXPECT_EQ(result.code, IoCode::Timeout);
  EXPECT_EQ(result.message,
            "viOpen GPIB0::5::INSTR: "
            "VI_ERROR_TMO: Timeout expired before operation completed (VISA status 0xBFFF0015)");
  visa.Script("open_status 0xBFFF0015\n");
  EXPECT_EQ(session.Open("GPIB0::5::INSTR", options), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(ThreadErrorRecord().description, openFailure + result.message + ".");

  // A failing termination setup fails the open and closes everything it opened.
  visa.Script("set_fail 0x3FFF00B3 0xBFFF001D\n");
  EXPECT_EQ(Open("ASRL1::INSTR"), nullptr);
  EXPECT_EQ(result.message.rfind("viOpen ASRL1::INSTR: ", 0), 0u) << result.message;
  Lines calls = visa.Calls();
  ASSERT_GE(calls.size(), 2u);
  EXPECT_EQ(Lines(calls.end() - 2, calls.end()), (Lines{"viClose session", "viClose rm"}));
  // A resource manager that cannot be opened names the library.
  visa.Script("rm_status 0xBFFF003C\n");
  EXPECT_EQ(Open("GPIB0::5::INSTR"), nullptr);
  EXPECT_NE(result.message.find(VEQDX_FAKE_VISA_LIBRARY), std::string::npos) << result.message;
  EXPECT_NE(result.message.find("0xBFFF003C"), std::string::npos);
}

TEST_F(VisaTransportTest, ReadTimeoutBecomesTheTimeoutErrorAndTheSessionGoesOn) {
  visa.Script("on *IDN?\tVelmora,QDX750L,1,1.0\\n\n");
  CVelmoraQdxErrorReporter reporter;
  CIoSession session(reporter);
  IoOpenOptions options;
  options.transport.setup["iobackend"] = "visa";
  ASSERT_EQ(session.Open("TCPIP0::10.0.0.5::5025::SOCKET", options), S_OK)
      << ThreadErrorRecord().description;
  std::string reply;
  std::int32_t status = 0;
  EXPECT_EQ(session.LowLevelReadStringNoPoll(100, reply, status), E_VELMORAQDX_IO_TIMEOUT);
  EXPECT_EQ(ThreadErrorRecord().description,
            "VelmoraQdx: I/O timeout error: VISA read on TCPIP0::10.0.0.5::5025::SOCKET failed: "
            "VI_ERROR_TMO: Timeout expired before operation completed (VISA status 0xBFFF0015)."
            "\r\n");
  EXPECT_EQ(session.GetLastStatus(), E_VELMORAQDX_IO_TIMEOUT);

  visa.Calls();
  ASSERT_EQ(session.LowLevelWriteStringNoPoll("*IDN?"), S_OK);
  ASSERT_EQ(session.LowLevelReadStringNoPoll(100, reply, status), S_OK);
  EXPECT_EQ(reply, "Velmora,QDX750L,1,1.0\n");
  EXPECT_EQ(status, 0);
  // The line feed goes out with the message, in the same write, with END.
  Lines calls = visa.Calls();
  EXPECT_TRUE(Contains(calls, "viWrite \"*IDN?\\n\" end=1")) << ::testing::PrintToString(calls);
}

TEST_F(VisaTransportTest, OtherVisaFailuresAreIoErrorsWithTheDescription) {
  visa.Script("status viRead 0xBFFF003C\nstatus viReadSTB 0xBFFF003C\nstatus viClear 0xBFFF003C\n");
  auto t = Open("GPIB0::5::INSTR");
  ASSERT_NE(t, nullptr);
  char buffer[16];
  std::size_t got = 0;
  ReadEnd why{};
  IoResult r = t->Read(buffer, sizeof buffer, got, why);
  EXPECT_EQ(r.code, IoCode::Error);
  EXPECT_EQ(r.message, "VISA read on GPIB0::5::INSTR failed: VI_ERROR_IO: Could not perform "
                       "operation because of I/O error (VISA status 0xBFFF003C)");
  std::uint8_t stb = 0;
  EXPECT_EQ(t->ReadStatusByte(stb).code, IoCode::Error);
  EXPECT_EQ(t->Clear().code, IoCode::Error);
}

TEST_F(VisaTransportTest, ReadsEndAsVisaSaysAndStatusByteLockClearReachVisa) {
  visa.Script("reply 0123456789\nstb 0x142\n");
  auto t = Open("GPIB0::5::INSTR");
  ASSERT_NE(t, nullptr);
  char buffer[16];
  std::size_t got = 0;
  ReadEnd why{};
  ASSERT_TRUE(t->Read(buffer, 4, got, why).ok());
  EXPECT_EQ(std::string(buffer, got), "0123");
  EXPECT_EQ(why, ReadEnd::Count);
  ASSERT_TRUE(t->Read(buffer, sizeof buffer, got, why).ok());
  EXPECT_EQ(std::string(buffer, got), "456789");
  EXPECT_EQ(why, ReadEnd::End);

  std::uint8_t stb = 0;
  ASSERT_TRUE(t->ReadStatusByte(stb).ok());
  EXPECT_EQ(stb, 0x42);  // the low byte of VISA's 16-bit status
  visa.Calls();
  EXPECT_TRUE(t->Lock(1500).ok());
  EXPECT_TRUE(t->Unlock().ok());
  EXPECT_TRUE(t->Clear().ok());
  t->SetTimeout(350);
  EXPECT_EQ(t->Timeout(), 350);
  EXPECT_EQ(visa.Calls(), (Lines{"viLock mode=1 timeout=1500 key=null", "viUnlock", "viClear",
                                 "viSetAttribute 0x3FFF001A 350"}));
}

TEST_F(VisaTransportTest, TypedAttributeGetters) {
  visa.Script("attr 0x3FFF0100 1 200\nattr 0x3FFF0101 2 300\nattr 0x3FFF0102 4 70000\n"
              "attr 0x3FFF0103 8 0x123456789\nattr 0x3FFF0104 2 1\nsattr 0xBFFF0105 hello\n"
              "sattr_unterminated 0xBFFF0106\n");
  auto t = Open("GPIB0::5::INSTR");
  ASSERT_NE(t, nullptr);
  CVisaTransport& v = *AsVisa(t);
  std::uint8_t u8 = 0;
  std::uint16_t u16 = 0;
  std::uint32_t u32 = 0;
  std::uint64_t u64 = 0;
  bool flag = false;
  std::string text;
  EXPECT_TRUE(v.GetAttributeUInt8(0x3FFF0100, u8).ok());
  EXPECT_EQ(u8, 200);
  EXPECT_TRUE(v.GetAttributeUInt16(0x3FFF0101, u16).ok());
  EXPECT_EQ(u16, 300);
  EXPECT_TRUE(v.GetAttributeUInt32(0x3FFF0102, u32).ok());
  EXPECT_EQ(u32, 70000u);
  EXPECT_TRUE(v.GetAttributeUInt64(0x3FFF0103, u64).ok());
  EXPECT_EQ(u64, 0x123456789ull);
  EXPECT_TRUE(v.GetAttributeBool(0x3FFF0104, flag).ok());
  EXPECT_TRUE(flag);
  EXPECT_TRUE(v.GetAttributeString(0xBFFF0105, text).ok());
  EXPECT_EQ(text, "hello");

  // Values too wide for the request: the conversion text, output unchanged.
  u8 = 9, u16 = 9, u32 = 9, flag = false, text = "kept";
  const std::pair<IoResult, const char*> refusals[] = {
      {v.GetAttributeUInt8(0x3FFF0101, u8), "1073676545 to a UINT8"},
      {v.GetAttributeUInt16(0x3FFF0102, u16), "1073676546 to a UINT16"},
      {v.GetAttributeUInt32(0x3FFF0103, u32), "1073676547 to a UINT32"},
      {v.GetAttributeBool(0x3FFF0101, flag), "1073676545 to a boolean"},
      {v.GetAttributeString(0xBFFF0106, text), "-1073807098 to a string"},
  };
  for (const auto& [r, what] : refusals) {
    EXPECT_EQ(r.code, IoCode::Error);
    EXPECT_EQ(r.message, std::string("GetAttribute could not convert attribute with ID ") + what +
                             " value.");
  }
  EXPECT_EQ(u8, 9);
  EXPECT_EQ(u16, 9);
  EXPECT_EQ(u32, 9u);
  EXPECT_FALSE(flag);
  EXPECT_EQ(text, "kept");
  // An attribute VISA does not know is VISA's error, not a conversion.
  IoResult r = v.GetAttributeUInt32(0x3FFF0199, u32);
  EXPECT_EQ(r.code, IoCode::Error);
  EXPECT_NE(r.message.find("VI_ERROR_NSUP_ATTR"), std::string::npos);

  std::uint16_t protocol = 0, manufacturer = 0;
  EXPECT_TRUE(v.GetProtocol(protocol).ok());
  EXPECT_EQ(protocol, 1);
  EXPECT_TRUE(v.GetManufacturerId(manufacturer).ok());
  EXPECT_EQ(manufacturer, 0x1234);
  visa.Calls();
  EXPECT_EQ(v.SetProtocol(9).message, "Unsupported VISA I/O protocol.");
  EXPECT_TRUE(v.SetProtocol(4).ok());
  EXPECT_EQ(visa.Calls(), (Lines{"viSetAttribute 0x3FFF001C 4"}));  // the refused one sent nothing
}

TEST_F(VisaTransportTest, SerialTerminationFollowsSetTermChar) {
  auto t = Open("ASRL3::INSTR");
  ASSERT_NE(t, nullptr);
  visa.Calls();
  t->SetTermChar('\r', false);
  EXPECT_EQ(SetAttributes(visa.Calls()), (Lines{"0x3FFF0018 13", "0x3FFF0038 0", "0x3FFF00B3 0"}));
  EXPECT_FALSE(t->TermCharEnabled());
  EXPECT_EQ(t->TermChar(), '\r');
}

TEST_F(VisaTransportTest, NoDescriptorOrHandleLeaksOverManyOpens) {
  visa.Script("on *IDN?\tid\\n\n");
  int before = veqdx::testing::OpenDescriptorCount();
  for (int i = 0; i < 100; ++i) {
    auto t = Open("TCPIP0::10.0.0.5::5025::SOCKET");
    ASSERT_NE(t, nullptr) << result.message;
    std::size_t written = 0;
    ASSERT_TRUE(t->Write("*IDN?", 5, true, written).ok());
  }
  EXPECT_EQ(veqdx::testing::OpenDescriptorCount(), before);
  Lines calls = visa.Calls();
  auto count = [&](const std::string& line) { return std::count(calls.begin(), calls.end(), line); };
  EXPECT_EQ(count("viOpen TCPIP0::10.0.0.5::5025::SOCKET mode=0 timeout=2000"), 100);
  EXPECT_EQ(count("viClose session"), 100);
  EXPECT_EQ(count("viClose rm"), 100);
}

}  // namespace
}  // namespace veqdx::io
