// Levels and limits: range checks from the ratings, the cache and what invalidates it.
#include "output_fixture.h"

namespace veqdx::dcpwr::testing {
namespace {

TEST_F(OutputOnDevice, RatingsDriveTheRangeChecks) {
  OpenSingle("QDX750L");  // 30 V / 75 A: limits 31.5 V and 78.75 A
  ASSERT_EQ(driver.put_Cache(VARIANT_FALSE), S_OK);
  CVelmoraQdxOutput& out = Out();
  const std::pair<double, const char*> cases[] = {
      {31.5, ":VOLT 31.5"}, {31.5 + 1e-15, ":VOLT 31.5"}, {-1e-15, ":VOLT -1e-15"},
      {31.6, nullptr},      {-1e-13, nullptr},            {1000, nullptr}};
  for (const auto& [volts, command] : cases) {
    EXPECT_EQ(out.put_VoltageLevel(volts), command ? S_OK : E_IVI_INVALID_VALUE) << volts;
    EXPECT_EQ(Traffic(), command ? (Lines{":INST:NSEL 0", command}) : Lines{}) << volts;
  }
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Invalid value (1000) for method put_VoltageLevel, parameter val.\r\n");
  EXPECT_EQ(out.put_CurrentLimit(78.76), E_IVI_INVALID_VALUE);
  EXPECT_EQ(out.ConfigureCurrentLimit(VelmoraQdxCurrentLimitTrip, 80), E_IVI_INVALID_VALUE);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Invalid value (80) for method put_CurrentLimit, parameter val.\r\n");
  ASSERT_EQ(driver.put_RangeCheck(VARIANT_FALSE), S_OK);
  EXPECT_EQ(out.put_VoltageLevel(1000), S_OK);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 0", ":VOLT 1000"}));
}

// Writes of an unchanged value (at fourteen decimals) and reads of a cached value send nothing;
// every output has its own entries.
TEST_F(OutputOnDevice, CacheSkipsUnchangedWritesAndAnswersReadsPerOutput) {
  OpenTwoChannels();
  CVelmoraQdxOutput& out = Out("Output1");
  for (double v : {5.0, 5.0, 5.000000000000001, 5.0001}) ASSERT_EQ(out.put_VoltageLevel(v), S_OK);
  ASSERT_EQ(out.IviDCPwr().ConfigureCurrentLimit(IviDCPwrCurrentLimitRegulate, 5), S_OK);
  ASSERT_EQ(out.ConfigureOVP(VARIANT_FALSE, 40), S_OK);
  ASSERT_EQ(out.IviDCPwr().ConfigureOVP(VARIANT_TRUE, 40), S_OK);  // unchanged: cached
  ASSERT_EQ(out.put_OCPLimit(10), S_OK);
  ASSERT_EQ(out.put_OCPLimit(10), S_OK);
  double v = 0;
  ASSERT_EQ(out.get_VoltageLevel(&v), S_OK);
  EXPECT_EQ(v, 5.0001);
  ASSERT_EQ(out.get_OCPLimit(&v), S_OK);
  EXPECT_EQ(v, 10.0);
  // Simulation-only entries do not suppress writes.
  ASSERT_EQ(out.put_BleederEnabled(VARIANT_TRUE), S_OK);
  ASSERT_EQ(out.put_BleederEnabled(VARIANT_TRUE), S_OK);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 1", ":VOLT 5", ":VOLT 5.0001", ":CURR 5", ":VOLT:PROT 40",
                              ":CURR:PROT 10", ":SYST:CONF:BLE 1", ":SYST:CONF:BLE 1"}));

  device->OnQuery(":VOLT?", "12.5\n");
  ASSERT_EQ(Out("Output2").get_VoltageLevel(&v), S_OK);  // not answered by Output1's entry
  ASSERT_EQ(Out("Output2").get_VoltageLevel(&v), S_OK);
  EXPECT_EQ(v, 12.5);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 2", ":VOLT?"}));

  ASSERT_EQ(driver.put_Cache(VARIANT_FALSE), S_OK);  // every write is sent, with its selection
  ASSERT_EQ(out.put_VoltageLevel(5.0001), S_OK);
  ASSERT_EQ(out.put_VoltageLevel(5.0001), S_OK);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 1", ":VOLT 5.0001", ":INST:NSEL 1", ":VOLT 5.0001"}));
}

TEST_F(OutputOnDevice, LevelWritesInvalidateTheTriggeredLevels) {
  OpenSingle();
  device->OnQuery(":VOLT:TRIG?", "+3.000E+00\n").OnQuery(":CURR:TRIG?", "4\n");
  CVelmoraQdxOutput& out = Out();
  double v = 0;
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(out.get_TriggeredVoltageLevel(&v), S_OK);
    ASSERT_EQ(out.get_TriggeredCurrentLimit(&v), S_OK);
  }
  EXPECT_EQ(v, 4.0);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 0", ":VOLT:TRIG?", ":CURR:TRIG?"}));
  ASSERT_EQ(out.put_VoltageLevel(1), S_OK);
  ASSERT_EQ(out.get_TriggeredVoltageLevel(&v), S_OK);
  ASSERT_EQ(out.get_TriggeredCurrentLimit(&v), S_OK);  // still cached
  ASSERT_EQ(out.put_CurrentLimit(1), S_OK);
  ASSERT_EQ(out.IviDCPwr().get_TriggeredCurrentLimit(&v), S_OK);
  ASSERT_EQ(out.IviDCPwr().put_TriggeredCurrentLimit(3), S_OK);
  EXPECT_EQ(Traffic(), (Lines{":VOLT 1", ":VOLT:TRIG?", ":CURR 1", ":CURR:TRIG?", ":CURR:TRIG 3"}));
}

// A failed query, a write the instrument flagged, a reset: none leaves a stale value behind.
TEST_F(OutputOnDevice, FailuresAndResetLeaveNoStaleValue) {
  OpenSingle();
  CVelmoraQdxOutput& out = Out();
  ASSERT_EQ(out.put_VoltageLevel(5), S_OK);
  ASSERT_EQ(driver.put_Cache(VARIANT_FALSE), S_OK);
  device->TimeOutNextRead();
  double v = 99;
  EXPECT_EQ(out.get_VoltageLevel(&v), E_VELMORAQDX_IO_TIMEOUT);
  EXPECT_EQ(v, 0.0);
  ASSERT_EQ(driver.put_Cache(VARIANT_TRUE), S_OK);
  Traffic();
  ASSERT_EQ(out.get_VoltageLevel(&v), S_OK);  // the entry is as it was
  EXPECT_EQ(v, 5.0);
  EXPECT_EQ(Traffic(), Lines{});

  ASSERT_EQ(driver.put_QueryInstrumentStatus(VARIANT_TRUE), S_OK);
  device->OnQuery("*ESR?", "32\n");  // command error
  EXPECT_EQ(out.put_VoltageLevel(6), E_IVI_INSTRUMENT_STATUS);
  device->OnQuery("*ESR?", "0\n");
  EXPECT_EQ(out.put_VoltageLevel(6), S_OK);  // sent again: the failed write was not cached
  EXPECT_EQ(Traffic(), (Lines{":VOLT 6", "*ESR?", ":VOLT 6", "*ESR?"}));

  ASSERT_EQ(driver.put_QueryInstrumentStatus(VARIANT_FALSE), S_OK);
  device->OnQuery("*RST;*OPC?", "1\n").OnQuery(":VOLT?", "0\n");
  ASSERT_EQ(driver.Reset(), S_OK);
  Traffic();
  ASSERT_EQ(out.get_VoltageLevel(&v), S_OK);
  EXPECT_EQ(v, 0.0);
  EXPECT_EQ(Traffic(), (Lines{":VOLT?"}));  // channel 0 is still selected
}

TEST_F(OutputOnDevice, SessionChecksComeFirst) {
  OpenSingle();
  CVelmoraQdxOutput& out = Out();
  EXPECT_EQ(out.get_VoltageLevel(nullptr), E_IVI_NULL_POINTER);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Null pointer passed for method get_VoltageLevel, parameter val.\r\n");
  EXPECT_EQ(out.Measure(VelmoraQdxMeasurementVoltage, nullptr), E_IVI_NULL_POINTER);
  EXPECT_EQ(out.IviDCPwr().put_OVPEnabled(VARIANT_FALSE), E_IVI_VALUE_NOT_SUPPORTED);
  ASSERT_EQ(driver.Close(), S_OK);
  double v = 0;
  EXPECT_EQ(out.put_VoltageLevel(1), E_IVI_NOT_INITIALIZED);
  EXPECT_EQ(out.get_VoltageLevel(nullptr), E_IVI_NOT_INITIALIZED);  // before the pointer check
  EXPECT_EQ(out.get_VoltageLevel(&v), E_IVI_NOT_INITIALIZED);
}

}  // namespace
}  // namespace veqdx::dcpwr::testing
