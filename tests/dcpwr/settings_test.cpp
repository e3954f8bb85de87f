// Keyword settings, output state and simulated outputs (the wire form: tests/capi).
#include "output_fixture.h"

namespace veqdx::dcpwr::testing {
namespace {

// Replies are trimmed but case-sensitive; one that names no keyword fails the read and
// leaves the default value.
TEST_F(OutputOnDevice, KeywordRepliesAndExternalSourceSwitches) {
  OpenSingle();
  CVelmoraQdxOutput& out = Out();
  VARIANT_BOOL on = 0;
  VelmoraQdxPONStateEnum pon = VelmoraQdxPONStateForce;
  VelmoraQdxExternalRangeEnum range = VelmoraQdxExternalRangeLow;
  device->Reply("1\n").Reply("  SAFE \n").Reply("HIGH\n").Reply("VOLT\n");
  ASSERT_EQ(out.get_Enabled(&on), S_OK);
  ASSERT_EQ(out.get_PONState(&pon), S_OK) << LastError();
  ASSERT_EQ(out.get_ExternalMonitorRange(&range), S_OK);
  EXPECT_EQ(on, VARIANT_TRUE);
  EXPECT_EQ(pon, VelmoraQdxPONStateSafe);
  EXPECT_EQ(range, VelmoraQdxExternalRangeHigh);
  ASSERT_EQ(out.get_CVControlEnabled(&on), S_OK);
  EXPECT_EQ(on, VARIANT_TRUE);
  device->Reply("OFF\n");
  EXPECT_EQ(out.get_Enabled(&on), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: I/O error: Unexpected value 'OFF' for enum 'VARIANT_BOOL'..\r\n");
  EXPECT_EQ(on, VARIANT_FALSE);
  device->Reply("safe\n");
  EXPECT_EQ(out.get_PONState(&pon), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(), "VelmoraQdx: I/O error: Unexpected value 'safe' for enum "
                         "'VelmoraQdxPONStateEnum'..\r\n");
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 0", ":OUTP?", ":OUTP:PON?", ":SYST:CONF:MON:RANG?",
                              ":VOLT:EXT:SOUR?", ":OUTP?", ":OUTP:PON?"}));

  // The C-function tests send each external source switch one way only; here both ways.
  for (auto put : {&CVelmoraQdxOutput::put_CVControlEnabled, &CVelmoraQdxOutput::put_CCControlEnabled})
    for (VARIANT_BOOL value : {VARIANT_TRUE, VARIANT_FALSE}) ASSERT_EQ((out.*put)(value), S_OK);
  EXPECT_EQ(Traffic(), (Lines{":VOLT:EXT:SOUR VOLT", ":VOLT:EXT:SOUR NONE", ":CURR:EXT:SOUR VOLT",
                              ":CURR:EXT:SOUR NONE"}));
}

TEST_F(OutputOnDevice, TableChecksRejectBeforeAnyIo) {
  OpenSingle();
  CVelmoraQdxOutput& out = Out();
  EXPECT_EQ(out.IviDCPwr().put_TriggerSource(IviDCPwrTriggerSourceExternal), E_IVI_INVALID_VALUE);
  EXPECT_EQ(out.put_OutputControlLogic(static_cast<VelmoraQdxExternalLogicEnum>(-1)),
            E_IVI_INVALID_VALUE);
  double v = 0;
  EXPECT_EQ(out.Measure(static_cast<VelmoraQdxMeasurementTypeEnum>(5), &v), E_IVI_INVALID_VALUE);
  // Without the check the converter refuses the value, still before any I/O.
  ASSERT_EQ(driver.put_RangeCheck(VARIANT_FALSE), S_OK);
  EXPECT_EQ(out.put_PONState(static_cast<VelmoraQdxPONStateEnum>(3)), E_IVI_INVALID_VALUE);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Invalid value (3) for method put_PONState, parameter nVal.\r\n");
  EXPECT_EQ(Traffic(), Lines{});
  device->OnQuery(":MEAS:CURR?", "+1.25E-01\n");
  ASSERT_EQ(out.IviDCPwr().Measure(IviDCPwrMeasurementCurrent, &v), S_OK);
  EXPECT_EQ(v, 0.125);
}

TEST_F(OutputOnDevice, QueryStateOnASingleUnitReadsThePlainRegisters) {
  OpenSingle();
  struct Case {
    VelmoraQdxOutputStateEnum state;
    const char* operation;
    const char* questionable;
    VARIANT_BOOL expected;
  };
  const Case cases[] = {
      {VelmoraQdxOutputStateConstantCurrent, "1024", "0", VARIANT_TRUE},
      {VelmoraQdxOutputStateConstantVoltage, "1024", "0", VARIANT_FALSE},
      {VelmoraQdxOutputStateConstantVoltage, "256", "0", VARIANT_TRUE},
      {VelmoraQdxOutputStateOverVoltage2, "0", "4096", VARIANT_TRUE},
      {VelmoraQdxOutputStateOverVoltage, "0", "4096", VARIANT_FALSE},
      {VelmoraQdxOutputStateUnregulated, "1024", "1024", VARIANT_TRUE},
      {VelmoraQdxOutputStateFanAlarm, "0", "256", VARIANT_TRUE},
      {VelmoraQdxOutputStateI2CAlarm, "0", "2048", VARIANT_TRUE},
      {VelmoraQdxOutputStateI2CAlarm, "0", "-2049", VARIANT_FALSE},
  };
  for (const Case& c : cases) {
    device->OnQuery("STAT:OPER:COND?", std::string(c.operation) + "\n")
        .OnQuery("STAT:QUES:COND?", std::string(c.questionable) + "\n");
    VARIANT_BOOL in = 7;
    ASSERT_EQ(Out().QueryState(c.state, &in), S_OK) << c.state << ": " << LastError();
    EXPECT_EQ(in, c.expected) << c.state;
    EXPECT_EQ(Traffic(), (Lines{"STAT:OPER:COND?", "STAT:QUES:COND?"}));
  }
  VARIANT_BOOL in = 7;
  EXPECT_EQ(Out().QueryState(static_cast<VelmoraQdxOutputStateEnum>(7), &in), E_IVI_INVALID_VALUE);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Invalid value (7) for method IVelmoraQdxOutputQueryState, parameter "
            "OutputState.\r\n");
  EXPECT_EQ(in, VARIANT_FALSE);
  device->TimeOutNextRead();
  EXPECT_EQ(Out().QueryState(VelmoraQdxOutputStateConstantCurrent, &in),
            E_VELMORAQDX_IO_TIMEOUT);
  EXPECT_EQ(Traffic(), (Lines{"STAT:OPER:COND?", "STAT:QUES:COND?", "STAT:OPER:COND?"}));
}

// Simulated values come from what was written (with or without the cache), nothing reaches a
// device, and the measurement follows the output state.
TEST_F(OutputOnDevice, SimulatedOutputsRememberWhatWasWritten) {
  for (const char* options : {"Simulate=true, Cache=false", "Simulate=true"}) {
    SCOPED_TRACE(options);
    OpenSimulated(options);
    CVelmoraQdxOutput& out = Out();
    double v = -1;
    ASSERT_EQ(out.get_VoltageLevel(&v), S_OK);
    EXPECT_EQ(v, 0.0);
    VelmoraQdxOperationModeEnum mode = VelmoraQdxOperationModeCV;
    ASSERT_EQ(out.get_OperationPriority(&mode), S_OK);
    EXPECT_EQ(mode, VelmoraQdxOperationModeCC);
    ASSERT_EQ(out.put_OperationPriority(VelmoraQdxOperationModeCV), S_OK);
    ASSERT_EQ(out.get_OperationPriority(&mode), S_OK);
    EXPECT_EQ(mode, VelmoraQdxOperationModeCV);
    // The simulated unit has the QDX750ML's ratings: 84 V is the limit.
    EXPECT_EQ(out.put_VoltageLevel(84.01), E_IVI_INVALID_VALUE);
    ASSERT_EQ(out.put_VoltageLevel(12.5), S_OK);
    ASSERT_EQ(out.get_VoltageLevel(&v), S_OK);
    EXPECT_EQ(v, 12.5);
    ASSERT_EQ(out.put_CurrentLimit(2), S_OK);
    const std::pair<VARIANT_BOOL, std::pair<double, double>> states[] = {
        {VARIANT_FALSE, {0, 0}}, {VARIANT_TRUE, {12.5, 2}}, {VARIANT_FALSE, {0, 0}}};
    for (const auto& [enabled, measured] : states) {
      ASSERT_EQ(out.put_Enabled(enabled), S_OK);
      ASSERT_EQ(out.Measure(VelmoraQdxMeasurementVoltage, &v), S_OK);
      EXPECT_EQ(v, measured.first);
      ASSERT_EQ(out.Measure(VelmoraQdxMeasurementCurrent, &v), S_OK);
      EXPECT_EQ(v, measured.second);
    }
    EXPECT_EQ(out.Measure(static_cast<VelmoraQdxMeasurementTypeEnum>(3), &v), E_IVI_INVALID_VALUE);
    ASSERT_EQ(driver.Close(), S_OK);
  }
  OpenSimulated("Simulate=true, DriverSetup=Model=QDX750MH");
  CVelmoraQdxOutput& out = Out();
  double v = 0;
  ASSERT_EQ(out.QueryVoltageLevelMax(1, &v), S_OK);
  EXPECT_EQ(v, 80.0);  // the simulated ratings, unmultiplied, whatever the model
  ASSERT_EQ(out.QueryCurrentLimitMax(1, &v), S_OK);
  EXPECT_EQ(v, 28.0);
  VARIANT_BOOL in = 7;
  ASSERT_EQ(out.QueryState(VelmoraQdxOutputStateConstantVoltage, &in), S_OK);
  EXPECT_EQ(in, VARIANT_FALSE);
  std::int16_t reg = 5;
  ASSERT_EQ(out.StatusQuestionable().get_EnableRegister(&reg), S_OK);
  EXPECT_EQ(reg, 0);
  EXPECT_EQ(out.ResetOutputProtection(), S_OK);
  EXPECT_EQ(driver.SelectedChannel(), 0);
  // The enable setter has no simulation shortcut: a simulated session has no device to take
  // the command, and says so.
  EXPECT_EQ(out.StatusOperation().put_EnableRegister(1), E_VELMORAQDX_IO_GENERAL);
  EXPECT_FALSE(device->Connected());
  EXPECT_EQ(device->Written(), Lines{});
}

}  // namespace
}  // namespace veqdx::dcpwr::testing
