// Global settings and the setting memories: what goes on the wire, the report-and-send rule of
// the memory numbers, and what a simulated session returns.
#include "system_fixture.h"

namespace veqdx::dcpwr::testing {
namespace {

class GlobalTest : public SystemOnDevice {};

TEST_F(GlobalTest, SettingsAreSentOnceForTheWholeUnit) {
  OpenTwoChannels();
  ASSERT_EQ(Output("Output1").put_VoltageLevel(3), S_OK) << LastError();
  device->ClearWritten();

  EXPECT_EQ(global.put_VoltageLevel(5), S_OK) << LastError();
  EXPECT_EQ(global.put_CurrentLimit(2.25), S_OK) << LastError();
  EXPECT_EQ(global.put_Enabled(VARIANT_TRUE), S_OK) << LastError();
  EXPECT_EQ(global.put_Enabled(VARIANT_FALSE), S_OK) << LastError();
  EXPECT_EQ(global.put_VoltageLevel(0.123456789012345678), S_OK) << LastError();
  EXPECT_EQ(device->Written(), (Lines{":GLOB:VOLT 5", ":GLOB:CURR 2.25", ":GLOB:OUTP 1",
                                      ":GLOB:OUTP 0", ":GLOB:VOLT 0.123456789012346"}));

  // Write-only and uncached: the same value goes out again, and the output's cached level
  // is left as it was.
  device->ClearWritten();
  EXPECT_EQ(global.put_VoltageLevel(5), S_OK);
  double level = 0;
  EXPECT_EQ(Output("Output1").get_VoltageLevel(&level), S_OK);
  EXPECT_EQ(level, 3);
  EXPECT_EQ(device->Written(), Lines{":GLOB:VOLT 5"});
}

// No simulation shortcut of their own: the I/O session of a simulated driver has no device.
TEST_F(GlobalTest, SimulatedSettingsAndMemoriesFailCleanlyWithoutIo) {
  OpenSimulated();
  EXPECT_EQ(global.put_VoltageLevel(5), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(), "VelmoraQdx: I/O error: .\r\n");
  EXPECT_EQ(ThreadErrorRecord().interfaceName, "IVelmoraQdxGlobal");
  EXPECT_EQ(global.put_CurrentLimit(1), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(global.put_Enabled(VARIANT_TRUE), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(system.SaveState(2), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(system.RecallState(2), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(ThreadErrorRecord().interfaceName, "IVelmoraQdxSystem");
  EXPECT_FALSE(device->Connected());
  EXPECT_TRUE(device->Writes().empty());
}

TEST_F(GlobalTest, ClosedSessionIsReported) {
  EXPECT_EQ(global.put_VoltageLevel(5), MakeHr(0x8004701Du));
  EXPECT_EQ(LastError(),
            "VelmoraQdx: A connection to the instrument has not been established.\r\n");
}

class MemoryTest : public SystemOnDevice {};

TEST_F(MemoryTest, OutOfRangeMemoryIsReportedAndStillSent) {
  OpenSingle();
  struct Case {
    HRESULT (CSystem::*member)(std::int32_t);
    std::int32_t memory;
    const char* command;
    const char* report;
  };
  const Case cases[] = {
      {&CSystem::SaveState, 0, "*SAV 0",
       "VelmoraQdx: Invalid value (0) for method SaveState, parameter Memory.\r\n"},
      {&CSystem::RecallState, 4, "*RCL 4",
       "VelmoraQdx: Invalid value (4) for method RecallState, parameter Memory.\r\n"},
      // "%@1d" adds one half and truncates toward zero: -3 goes out as -2.
      {&CSystem::SaveState, -3, "*SAV -2",
       "VelmoraQdx: Invalid value (-3) for method SaveState, parameter Memory.\r\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.command);
    device->ClearWritten();
    ClearThreadErrorRecord();
    // The call's result is the send's: success, with the report left in the error record.
    EXPECT_EQ((system.*c.member)(c.memory), S_OK);
    EXPECT_EQ(device->Written(), Lines{c.command});
    EXPECT_EQ(ThreadErrorRecord().hr, MakeHr(0x80047010u));
    EXPECT_EQ(LastError(), c.report);
  }
}

TEST_F(MemoryTest, WithoutRangeCheckNothingIsReported) {
  OpenSingle("QDX750L", "RangeCheck=false");
  ClearThreadErrorRecord();
  EXPECT_EQ(system.SaveState(0), S_OK);
  EXPECT_EQ(device->Written(), Lines{"*SAV 0"});
  EXPECT_EQ(ThreadErrorRecord().hr, S_OK);
  EXPECT_EQ(LastError(), "");
}

TEST_F(MemoryTest, FailedSendIsTheResult) {
  OpenSingle();
  device->FailNextWrite("cable pulled");
  EXPECT_EQ(system.SaveState(0), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(), "VelmoraQdx: I/O error: cable pulled.\r\n");
}

TEST_F(MemoryTest, RecallLeavesTheCacheAsItWas) {
  OpenSingle();
  ASSERT_EQ(Output("Output0").put_VoltageLevel(12), S_OK) << LastError();
  device->ClearWritten();
  ASSERT_EQ(system.RecallState(1), S_OK);
  double level = 0;
  EXPECT_EQ(Output("Output0").get_VoltageLevel(&level), S_OK);
  EXPECT_EQ(level, 12);
  EXPECT_EQ(device->Written(), Lines{"*RCL 1"});
}

}  // namespace
}  // namespace veqdx::dcpwr::testing
