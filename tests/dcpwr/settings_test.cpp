// Keyword settings, protection, trigger source, external control, measurement and output
// state (the per-output registers and summaries of a multi-channel unit: tests/capi).
#include "output_fixture.h"

namespace veqdx::dcpwr::testing {
namespace {

TEST_F(OutputOnDevice, BooleanKeywordsOfEnabled) {
  OpenSingle();
  CVelmoraQdxOutput& out = Out();
  ASSERT_EQ(driver.put_Cache(VARIANT_FALSE), S_OK);
  ASSERT_EQ(out.put_Enabled(VARIANT_TRUE), S_OK);
  ASSERT_EQ(out.put_Enabled(1), S_OK);
  ASSERT_EQ(out.put_Enabled(VARIANT_FALSE), S_OK);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 0", ":OUTP 1", ":INST:NSEL 0", ":OUTP 1", ":INST:NSEL 0",
                              ":OUTP 0"}));
  VARIANT_BOOL on = 0;
  device->Reply("1\n");
  ASSERT_EQ(out.get_Enabled(&on), S_OK);
  EXPECT_EQ(on, VARIANT_TRUE);
  device->Reply("OFF\n");
  EXPECT_EQ(out.get_Enabled(&on), kIoError);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: I/O error: Unexpected value 'OFF' for enum 'VARIANT_BOOL'..\r\n");
  EXPECT_EQ(on, VARIANT_FALSE);
}

TEST_F(OutputOnDevice, EnumerationRepliesAreTrimmedButCaseSensitive) {
  OpenSingle();
  CVelmoraQdxOutput& out = Out();
  VelmoraQdxPONStateEnum pon = VelmoraQdxPONStateForce;
  device->Reply("  SAFE \n");
  ASSERT_EQ(out.get_PONState(&pon), S_OK) << LastError();
  EXPECT_EQ(pon, VelmoraQdxPONStateSafe);
  device->Reply("safe\n");
  EXPECT_EQ(out.get_PONState(&pon), kIoError);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: I/O error: Unexpected value 'safe' for enum 'VelmoraQdxPONStateEnum'.."
            "\r\n");
  VelmoraQdxExternalRangeEnum range = VelmoraQdxExternalRangeLow;
  device->Reply("HIGH\n");
  ASSERT_EQ(out.get_ExternalMonitorRange(&range), S_OK);
  EXPECT_EQ(range, VelmoraQdxExternalRangeHigh);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 0", ":OUTP:PON?", ":OUTP:PON?", ":SYST:CONF:MON:RANG?"}));
}

// The other keyword settings are checked on the wire through the C functions (tests/capi);
// the external source switches are the ones sent there in one direction only.
TEST_F(OutputOnDevice, ExternalSourceSwitchesOnTheWire) {
  OpenSingle();
  CVelmoraQdxOutput& out = Out();
  ASSERT_EQ(out.put_CVControlEnabled(VARIANT_TRUE), S_OK);
  ASSERT_EQ(out.put_CVControlEnabled(VARIANT_FALSE), S_OK);
  ASSERT_EQ(out.put_CCControlEnabled(VARIANT_TRUE), S_OK);
  ASSERT_EQ(out.put_CCControlEnabled(VARIANT_FALSE), S_OK);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 0", ":VOLT:EXT:SOUR VOLT", ":VOLT:EXT:SOUR NONE",
                              ":CURR:EXT:SOUR VOLT", ":CURR:EXT:SOUR NONE"}));
  VARIANT_BOOL cv = 0;
  device->Reply("VOLT\n");
  ASSERT_EQ(out.get_CVControlEnabled(&cv), S_OK);
  EXPECT_EQ(cv, VARIANT_TRUE);
}

TEST_F(OutputOnDevice, TableChecksRejectBeforeAnyIo) {
  OpenSingle();
  CVelmoraQdxOutput& out = Out();
  EXPECT_EQ(out.put_PONState(static_cast<VelmoraQdxPONStateEnum>(3)), kInvalidValue);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Invalid value (3) for method put_PONState, parameter val.\r\n");
  EXPECT_EQ(out.put_TriggerSource(static_cast<VelmoraQdxTriggerSourceEnum>(1)), kInvalidValue);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Invalid value (1) for method put_TriggerSource, parameter val.\r\n");
  EXPECT_EQ(out.IviDCPwr().put_TriggerSource(IviDCPwrTriggerSourceExternal), kInvalidValue);
  EXPECT_EQ(out.put_AlanogControlRange(static_cast<VelmoraQdxExternalRangeEnum>(2)), kInvalidValue);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Invalid value (2) for method put_AlanogControlRange, parameter val.\r\n");
  EXPECT_EQ(out.put_OutputControlLogic(static_cast<VelmoraQdxExternalLogicEnum>(-1)),
            kInvalidValue);
  EXPECT_EQ(Traffic(), Lines{});
  // Without the check the converter refuses the value, still before any I/O.
  ASSERT_EQ(driver.put_RangeCheck(VARIANT_FALSE), S_OK);
  EXPECT_EQ(out.put_PONState(static_cast<VelmoraQdxPONStateEnum>(3)), kInvalidValue);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Invalid value (3) for method put_PONState, parameter nVal.\r\n");
  EXPECT_EQ(Traffic(), Lines{});
}

TEST_F(OutputOnDevice, ProtectionLimitsAreCached) {
  OpenSingle();
  CVelmoraQdxOutput& out = Out();
  ASSERT_EQ(out.put_OCPLimit(10), S_OK);
  ASSERT_EQ(out.put_OCPLimit(10), S_OK);
  double v = 0;
  ASSERT_EQ(out.get_OCPLimit(&v), S_OK);
  EXPECT_EQ(v, 10.0);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 0", ":CURR:PROT 10"}));
  // Simulation-only entries do not suppress writes.
  ASSERT_EQ(out.put_BleederEnabled(VARIANT_TRUE), S_OK);
  ASSERT_EQ(out.put_BleederEnabled(VARIANT_TRUE), S_OK);
  EXPECT_EQ(Traffic(), (Lines{":SYST:CONF:BLE 1", ":SYST:CONF:BLE 1"}));
}

TEST_F(OutputOnDevice, MeasureSendsTheKeywordQuery) {
  OpenSingle();
  device->OnQuery(":MEAS:VOLT?", "+1.2345E+01\n").OnQuery(":MEAS:CURR?", "0.5\n");
  double v = 0;
  ASSERT_EQ(Out().Measure(VelmoraQdxMeasurementVoltage, &v), S_OK);
  EXPECT_EQ(v, 12.345);
  ASSERT_EQ(Out().IviDCPwr().Measure(IviDCPwrMeasurementCurrent, &v), S_OK);
  EXPECT_EQ(v, 0.5);
  EXPECT_EQ(Out().Measure(static_cast<VelmoraQdxMeasurementTypeEnum>(5), &v), kInvalidValue);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 0", ":MEAS:VOLT?", ":MEAS:CURR?"}));
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
  EXPECT_EQ(Out().QueryState(static_cast<VelmoraQdxOutputStateEnum>(7), &in), kInvalidValue);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Invalid value (7) for method IVelmoraQdxOutputQueryState, parameter "
            "OutputState.\r\n");
  EXPECT_EQ(in, VARIANT_FALSE);
  EXPECT_EQ(Traffic(), (Lines{"STAT:OPER:COND?", "STAT:QUES:COND?"}));
  device->TimeOutNextRead();
  EXPECT_EQ(Out().QueryState(VelmoraQdxOutputStateConstantCurrent, &in), kIoTimeout);
  EXPECT_EQ(Traffic(), (Lines{"STAT:OPER:COND?"}));
}

}  // namespace
}  // namespace veqdx::dcpwr::testing
