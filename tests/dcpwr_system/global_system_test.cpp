// Global settings and the setting memories (the plain wire form: tests/capi).
#include "system_fixture.h"

namespace veqdx::dcpwr::testing {
namespace {

class GlobalTest : public SystemOnDevice {};

// Write-only and uncached: the same value goes out again, and the output's cached level is
// left as it was, also after a recall.
TEST_F(GlobalTest, GlobalWritesAndRecallLeaveTheOutputCacheAlone) {
  OpenTwoChannels();
  ASSERT_EQ(Out("Output1").put_VoltageLevel(3), S_OK) << LastError();
  device->ClearWritten();
  for (double v : {5.0, 5.0, 0.123456789012345678}) EXPECT_EQ(global.put_VoltageLevel(v), S_OK);
  EXPECT_EQ(global.put_Enabled(VARIANT_FALSE), S_OK);
  ASSERT_EQ(system.RecallState(1), S_OK);
  double level = 0;
  EXPECT_EQ(Out("Output1").get_VoltageLevel(&level), S_OK);
  EXPECT_EQ(level, 3);
  EXPECT_EQ(device->Written(), (Lines{":GLOB:VOLT 5", ":GLOB:VOLT 5", ":GLOB:VOLT 0.123456789012346",
                                      ":GLOB:OUTP 0", "*RCL 1"}));
}

// An out-of-range memory is reported, and still sent: the call's result is the send's.
TEST_F(GlobalTest, OutOfRangeMemoryIsReportedAndStillSent) {
  OpenSingle();
  struct Case {
    HRESULT (CSystem::*member)(std::int32_t);
    std::int32_t memory;
    const char* command;
    const char* report;
  };
  const Case cases[] = {
      {&CSystem::SaveState, 0, "*SAV 0", "Invalid value (0) for method SaveState, parameter Memory."},
      {&CSystem::RecallState, 4, "*RCL 4",
       "Invalid value (4) for method RecallState, parameter Memory."},
      // "%@1d" adds one half and truncates toward zero: -3 goes out as -2.
      {&CSystem::SaveState, -3, "*SAV -2",
       "Invalid value (-3) for method SaveState, parameter Memory."},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.command);
    device->ClearWritten();
    ClearThreadErrorRecord();
    EXPECT_EQ((system.*c.member)(c.memory), S_OK);
    EXPECT_EQ(device->Written(), Lines{c.command});
    EXPECT_EQ(ThreadErrorRecord().hr, E_IVI_INVALID_VALUE);
    EXPECT_EQ(LastError(), std::string("VelmoraQdx: ") + c.report + "\r\n");
  }
  device->FailNextWrite("cable pulled");
  EXPECT_EQ(system.SaveState(0), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(), "VelmoraQdx: I/O error: cable pulled.\r\n");

  ASSERT_EQ(driver.put_RangeCheck(VARIANT_FALSE), S_OK);  // nothing reported
  ClearThreadErrorRecord();
  EXPECT_EQ(system.SaveState(0), S_OK);
  EXPECT_EQ(ThreadErrorRecord().hr, S_OK);
  EXPECT_EQ(LastError(), "");
}

// No simulation shortcut of their own: the I/O session of a simulated driver has no device.
TEST_F(GlobalTest, SimulatedAndClosedSessionsFailCleanlyWithoutIo) {
  EXPECT_EQ(global.put_VoltageLevel(5), E_IVI_NOT_INITIALIZED);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: A connection to the instrument has not been established.\r\n");
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
}

}  // namespace
}  // namespace veqdx::dcpwr::testing
