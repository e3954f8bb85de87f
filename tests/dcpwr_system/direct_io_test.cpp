// Direct I/O on the driver's own connection (the C functions: tests/capi).
#include "system_fixture.h"

namespace veqdx::dcpwr::testing {
namespace {

class DirectIoTest : public SystemOnDevice {};

TEST_F(DirectIoTest, SharesTheConnectionWithTheDriverWithoutStatusCheck) {
  // With the status check on, a driver command is followed by "*ESR?"; direct traffic is not,
  // or the check would eat the reply the user is waiting for.
  OpenSingle("QDX750L", "QueryInstrumentStatus=true");
  device->OnQuery("*ESR?", "4\n").OnQuery("*ESE?", "16\n");
  device->ClearWritten();
  ASSERT_EQ(system.SystemWrite("*ESE?"), S_OK) << LastError();
  EXPECT_EQ(device->Writes(), (std::vector<io::WriteRecord>{{"*ESE?", true}}));
  // The user's reply is left unread: the driver's next query meets it ...
  IVelmoraQdxStatusStandardEvent* events = nullptr;
  ASSERT_EQ(status.get_StandardEvent(&events), S_OK);
  ASSERT_EQ(driver.put_QueryInstrumentStatus(VARIANT_FALSE), S_OK);
  std::uint8_t value = 0;
  EXPECT_EQ(events->get_EventRegister(&value), S_OK) << LastError();
  EXPECT_EQ(value, 16);
  // ... and the driver's own reply is what the user reads next.
  std::string reply;
  EXPECT_EQ(system.SystemRead(256, reply), S_OK) << LastError();
  EXPECT_EQ(reply, "4\n");
  EXPECT_EQ(device->PendingOutput(), 0u);
}

TEST_F(DirectIoTest, ReadsAreBoundedAndFailuresReported) {
  OpenSingle();
  std::string reply = "stale";
  EXPECT_EQ(system.SystemRead(256, reply), E_VELMORAQDX_IO_TIMEOUT);  // nothing pending
  EXPECT_EQ(reply, "");
  device->FailNextRead("connection reset");
  EXPECT_EQ(system.SystemRead(256, reply), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(), "VelmoraQdx: I/O error: connection reset.\r\n");

  // A long response is cut at the caller's size and consumed whole.
  const std::string longReply = std::string(10000, 'x') + "\n";
  device->OnQuery("DATA?", longReply, io::ReplyOptions{1500, true});
  ASSERT_EQ(system.SystemWrite("DATA?"), S_OK);
  EXPECT_EQ(system.SystemRead(100, reply), S_OK) << LastError();
  EXPECT_EQ(reply, std::string(100, 'x'));
  EXPECT_EQ(device->PendingOutput(), 0u);
  // ReadString keeps the whole of a response that fits.
  IFormattedIO488* direct = nullptr;
  ASSERT_EQ(system.get_DirectIO(&direct), S_OK);
  ASSERT_EQ(direct->WriteString("DATA?"), S_OK);
  EXPECT_EQ(direct->ReadString(&reply), S_OK);
  EXPECT_EQ(reply, longReply);

  // An endless response is reported, not held.
  device->Reply(std::string(CDirectIo::kMaxTransfer + 4096, 'y'), io::ReplyOptions{0, false});
  EXPECT_EQ(system.SystemRead(64, reply), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(reply, "");
  EXPECT_NE(LastError().find("Direct I/O read stopped after 16777216 bytes"), std::string::npos)
      << LastError();
}

TEST_F(DirectIoTest, RefusalsSendNothing) {
  IFormattedIO488* direct = nullptr;
  EXPECT_EQ(system.get_DirectIO(&direct), E_IVI_NOT_INITIALIZED);
  EXPECT_EQ(system.SystemWrite("*IDN?"), E_IVI_NOT_INITIALIZED);
  OpenSingle();
  EXPECT_EQ(system.get_DirectIO(nullptr), E_IVI_NULL_POINTER);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Null pointer passed for method get_DirectIO, parameter val.\r\n");
  EXPECT_EQ(system.SystemWrite(nullptr), E_IVI_NULL_POINTER);
  ASSERT_EQ(system.get_DirectIO(&direct), S_OK);
  EXPECT_EQ(direct->WriteString(nullptr), E_IVI_NULL_POINTER);
  EXPECT_EQ(direct->ReadString(nullptr), E_IVI_NULL_POINTER);

  // An object handed out before simulation starts is refused too, without a read.
  ASSERT_EQ(driver.put_Simulate(VARIANT_TRUE), S_OK);
  const std::size_t readsBefore = device->Reads().size();
  const char* simulating = "VelmoraQdx: I/O error: Direct I/O not available while Simulating.\r\n";
  EXPECT_EQ(direct->WriteString("*RST"), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(), simulating);
  std::string reply;
  EXPECT_EQ(direct->ReadString(&reply), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(device->Reads().size(), readsBefore);
  IFormattedIO488* again = reinterpret_cast<IFormattedIO488*>(&driver);  // must be reset
  EXPECT_EQ(system.get_DirectIO(&again), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(), simulating);
  EXPECT_EQ(ThreadErrorRecord().interfaceName, "IVelmoraQdxSystem");
  EXPECT_EQ(again, nullptr);

  ASSERT_EQ(driver.Close(), S_OK);
  EXPECT_EQ(direct->WriteString("*RST"), E_IVI_NOT_INITIALIZED);
  EXPECT_TRUE(device->Writes().empty());
}

}  // namespace
}  // namespace veqdx::dcpwr::testing
