// Direct I/O: refused while simulating, one message out and one response in on the driver's
// own connection, bounded reads.
#include "system_fixture.h"

namespace veqdx::dcpwr::testing {
namespace {

constexpr const char* kSimulatingText =
    "VelmoraQdx: I/O error: Direct I/O not available while Simulating.\r\n";

class DirectIoTest : public SystemOnDevice {};

TEST_F(DirectIoTest, RefusedWhileSimulatingWithNoByteSent) {
  OpenSimulated();
  IFormattedIO488* direct = reinterpret_cast<IFormattedIO488*>(&driver);  // must be reset
  EXPECT_EQ(system.get_DirectIO(&direct), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(), kSimulatingText);
  EXPECT_EQ(ThreadErrorRecord().interfaceName, "IVelmoraQdxSystem");
  EXPECT_EQ(direct, nullptr);
  // SystemWrite and SystemRead refuse the same way (checked through the C functions).
  EXPECT_FALSE(device->Connected());
  EXPECT_TRUE(device->Writes().empty());
}

TEST_F(DirectIoTest, AnObjectHandedOutBeforeSimulationStartsIsRefusedToo) {
  OpenSingle();
  IFormattedIO488* direct = nullptr;
  ASSERT_EQ(system.get_DirectIO(&direct), S_OK) << LastError();
  ASSERT_NE(direct, nullptr);
  ASSERT_EQ(driver.put_Simulate(VARIANT_TRUE), S_OK);
  const std::size_t readsBefore = device->Reads().size();
  EXPECT_EQ(direct->WriteString("*RST"), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(), kSimulatingText);
  std::string reply;
  EXPECT_EQ(direct->ReadString(&reply), E_VELMORAQDX_IO_GENERAL);
  EXPECT_TRUE(device->Written().empty());
  EXPECT_EQ(device->Reads().size(), readsBefore);
}

TEST_F(DirectIoTest, WriteIsOneMessageWithEndAndNoStatusCheck) {
  // With QueryInstrumentStatus on, a driver command is followed by "*ESR?"; direct traffic is
  // not, or the check would eat the reply the user is waiting for.
  OpenSingle("QDX750L", "QueryInstrumentStatus=true");
  device->OnQuery("*ESR?", "0\n");
  device->ClearWritten();
  EXPECT_EQ(system.SystemWrite(":VOLT 1;:CURR 2"), S_OK) << LastError();
  EXPECT_EQ(device->Writes(), (std::vector<io::WriteRecord>{{":VOLT 1;:CURR 2", true}}));
  EXPECT_EQ(device->PendingOutput(), 0u);
}

TEST_F(DirectIoTest, SharesTheConnectionWithTheDriver) {
  OpenSingle();
  device->OnQuery("*ESE?", "16\n").OnQuery("*ESR?", "4\n");
  IVelmoraQdxStatusStandardEvent* events = nullptr;
  ASSERT_EQ(status.get_StandardEvent(&events), S_OK);

  // The user's reply is left unread: the driver's next query meets it.
  ASSERT_EQ(system.SystemWrite("*ESE?"), S_OK) << LastError();
  std::uint8_t value = 0;
  EXPECT_EQ(events->get_EventRegister(&value), S_OK) << LastError();
  EXPECT_EQ(value, 16);
  // ... and the driver's own reply is what the user reads next.
  std::string reply;
  EXPECT_EQ(system.SystemRead(256, reply), S_OK) << LastError();
  EXPECT_EQ(reply, "4\n");
  EXPECT_EQ(device->Written(), (Lines{"*ESE?", "*ESR?"}));
  EXPECT_EQ(device->PendingOutput(), 0u);
}

TEST_F(DirectIoTest, LongResponseIsCutAtTheCallersSizeAndConsumedWhole) {
  OpenSingle();
  const std::string longReply = std::string(10000, 'x') + "\n";
  device->OnQuery("DATA?", longReply, io::ReplyOptions{1500, true});
  device->OnQuery("*ESE?", "8\n");
  ASSERT_EQ(system.SystemWrite("DATA?"), S_OK);
  std::string reply;
  EXPECT_EQ(system.SystemRead(100, reply), S_OK) << LastError();
  EXPECT_EQ(reply, std::string(100, 'x'));
  EXPECT_EQ(device->PendingOutput(), 0u);
  // The next exchange starts on a clean response.
  ASSERT_EQ(system.SystemWrite("*ESE?"), S_OK);
  EXPECT_EQ(system.SystemRead(256, reply), S_OK);
  EXPECT_EQ(reply, "8\n");

  // ReadString keeps the whole of a response that fits.
  IFormattedIO488* direct = nullptr;
  ASSERT_EQ(system.get_DirectIO(&direct), S_OK);
  ASSERT_EQ(direct->WriteString("DATA?"), S_OK);
  EXPECT_EQ(direct->ReadString(&reply), S_OK);
  EXPECT_EQ(reply, longReply);
}

TEST_F(DirectIoTest, EndlessResponseIsReportedNotHeld) {
  OpenSingle();
  device->Reply(std::string(CDirectIo::kMaxTransfer + 4096, 'y'), io::ReplyOptions{0, false});
  std::string reply = "stale";
  EXPECT_EQ(system.SystemRead(64, reply), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(reply, "");
  EXPECT_NE(LastError().find("Direct I/O read stopped after 16777216 bytes"), std::string::npos)
      << LastError();
}

TEST_F(DirectIoTest, NothingPendingTimesOut) {
  OpenSingle();
  std::string reply = "stale";
  EXPECT_EQ(system.SystemRead(256, reply), E_VELMORAQDX_IO_TIMEOUT);
  EXPECT_EQ(reply, "");
  device->FailNextRead("connection reset");
  EXPECT_EQ(system.SystemRead(256, reply), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(), "VelmoraQdx: I/O error: connection reset.\r\n");
}

TEST_F(DirectIoTest, NullArgumentsAndClosedSessionsAreReported) {
  IFormattedIO488* direct = nullptr;
  EXPECT_EQ(system.get_DirectIO(&direct), MakeHr(0x8004701Du));
  EXPECT_EQ(system.SystemWrite("*IDN?"), MakeHr(0x8004701Du));

  OpenSingle();
  EXPECT_EQ(system.get_DirectIO(nullptr), MakeHr(0x80047058u));
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Null pointer passed for method get_DirectIO, parameter val.\r\n");
  EXPECT_EQ(system.SystemWrite(nullptr), MakeHr(0x80047058u));
  ASSERT_EQ(system.get_DirectIO(&direct), S_OK);
  EXPECT_EQ(direct->WriteString(nullptr), MakeHr(0x80047058u));
  EXPECT_EQ(direct->ReadString(nullptr), MakeHr(0x80047058u));
  EXPECT_TRUE(device->Writes().empty());

  ASSERT_EQ(driver.Close(), S_OK);
  EXPECT_EQ(direct->WriteString("*RST"), MakeHr(0x8004701Du));
  EXPECT_TRUE(device->Writes().empty());
}

}  // namespace
}  // namespace veqdx::dcpwr::testing
