// Levels and limits: range checks from the ratings, cache, channel selection, dependents.
#include <cmath>
#include <cstdio>
#include <thread>

#include "output_fixture.h"

namespace veqdx::dcpwr::testing {
namespace {

std::string VoltCommand(double v) {
  char text[64];
  std::snprintf(text, sizeof text, ":VOLT %0.15lg", v);
  return text;
}

TEST_F(OutputOnDevice, RatingsDriveTheRangeChecks) {
  OpenSingle("QDX750L");  // 30 V / 75 A: limits 31.5 V and 78.75 A
  ASSERT_EQ(driver.put_Cache(VARIANT_FALSE), S_OK);
  CVelmoraQdxOutput& out = Out();
  EXPECT_DOUBLE_EQ(out.MaximumVoltage(), 31.5);
  EXPECT_DOUBLE_EQ(out.MaximumCurrent(), 78.75);

  struct Case {
    double volts;
    bool accepted;
  };
  const Case cases[] = {{31.5, true},   {31.5 + 1e-15, true}, {31.6, false}, {0.0, true},
                        {-1e-15, true}, {-1e-13, false},      {1000, false}};
  for (const Case& c : cases) {
    const HRESULT hr = out.put_VoltageLevel(c.volts);
    if (c.accepted) {
      EXPECT_EQ(hr, S_OK) << c.volts << ": " << LastError();
      EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 0", VoltCommand(c.volts)})) << c.volts;
    } else {
      EXPECT_EQ(hr, kInvalidValue) << c.volts;
      EXPECT_EQ(Traffic(), Lines{}) << c.volts;
    }
  }
  EXPECT_EQ(out.put_VoltageLevel(31.6), kInvalidValue);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Invalid value (31.6) for method put_VoltageLevel, parameter val.\r\n");

  EXPECT_EQ(out.put_CurrentLimit(78.75), S_OK);
  EXPECT_EQ(out.put_CurrentLimit(78.76), kInvalidValue);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Invalid value (78.76) for method put_CurrentLimit, parameter val.\r\n");
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 0", ":CURR 78.75"}));

  ASSERT_EQ(driver.put_RangeCheck(VARIANT_FALSE), S_OK);
  EXPECT_EQ(out.put_VoltageLevel(1000), S_OK);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 0", ":VOLT 1000"}));
}

TEST_F(OutputOnDevice, ChannelIsSelectedOnceWithCacheAndEveryTimeWithout) {
  OpenSingle();
  CVelmoraQdxOutput& out = Out();
  ASSERT_EQ(out.put_VoltageLevel(1), S_OK);
  ASSERT_EQ(out.put_CurrentLimit(2), S_OK);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 0", ":VOLT 1", ":CURR 2"}));
  ASSERT_EQ(driver.put_Cache(VARIANT_FALSE), S_OK);
  ASSERT_EQ(out.put_VoltageLevel(1), S_OK);  // same value: sent, since nothing is cached
  ASSERT_EQ(out.put_CurrentLimit(2), S_OK);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 0", ":VOLT 1", ":INST:NSEL 0", ":CURR 2"}));
}

TEST_F(OutputOnDevice, AlternatingOutputsSelectBeforeEachCommand) {
  OpenTwoChannels();
  ASSERT_EQ(Out("Output1").put_VoltageLevel(1), S_OK);
  ASSERT_EQ(Out("Output2").put_VoltageLevel(2), S_OK);
  ASSERT_EQ(Out("Output1").put_VoltageLevel(3), S_OK);
  ASSERT_EQ(Out("Output1").put_OVPLimit(4), S_OK);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 1", ":VOLT 1", ":INST:NSEL 2", ":VOLT 2", ":INST:NSEL 1",
                              ":VOLT 3", ":VOLT:PROT 4"}));
  // Channel 2 is a QDX750H: 682.5 V passes there, and would not on channel 1 (84 V).
  EXPECT_EQ(Out("Output2").put_VoltageLevel(682.5), S_OK);
  EXPECT_EQ(Out("Output1").put_VoltageLevel(84.1), kInvalidValue);
}

TEST_F(OutputOnDevice, UnchangedWritesAreSkippedAtFourteenDecimals) {
  OpenSingle();
  CVelmoraQdxOutput& out = Out();
  for (double v : {5.0, 5.0, 5.000000000000001, 5.0001}) ASSERT_EQ(out.put_VoltageLevel(v), S_OK);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 0", ":VOLT 5", ":VOLT 5.0001"}));
  double v = 0;
  ASSERT_EQ(out.get_VoltageLevel(&v), S_OK);  // answered by the cache
  EXPECT_EQ(v, 5.0001);
  EXPECT_EQ(Traffic(), Lines{});
}

TEST_F(OutputOnDevice, CachedReadsQueryOnceAndStayPerOutput) {
  OpenTwoChannels();
  device->OnQuery(":VOLT?", "12.5\n");
  double v = 0;
  ASSERT_EQ(Out("Output1").get_VoltageLevel(&v), S_OK);
  EXPECT_EQ(v, 12.5);
  ASSERT_EQ(Out("Output1").get_VoltageLevel(&v), S_OK);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 1", ":VOLT?"}));
  ASSERT_EQ(Out("Output2").get_VoltageLevel(&v), S_OK);  // not answered by Output1's entry
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 2", ":VOLT?"}));
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
  ASSERT_EQ(out.get_TriggeredCurrentLimit(&v), S_OK);
  EXPECT_EQ(Traffic(), (Lines{":VOLT 1", ":VOLT:TRIG?", ":CURR 1", ":CURR:TRIG?"}));
}

TEST_F(OutputOnDevice, FailedQueryLeavesTheEntryAsItWas) {
  OpenSingle();
  CVelmoraQdxOutput& out = Out();
  ASSERT_EQ(out.put_VoltageLevel(5), S_OK);
  ASSERT_EQ(driver.put_Cache(VARIANT_FALSE), S_OK);
  device->TimeOutNextRead();
  double v = 99;
  EXPECT_EQ(out.get_VoltageLevel(&v), kIoTimeout);
  EXPECT_EQ(v, 0.0);
  ASSERT_EQ(driver.put_Cache(VARIANT_TRUE), S_OK);
  Traffic();
  ASSERT_EQ(out.get_VoltageLevel(&v), S_OK);
  EXPECT_EQ(v, 5.0);
  EXPECT_EQ(Traffic(), Lines{});
}

TEST_F(OutputOnDevice, InstrumentStatusIsCheckedAfterWritesAndAFailureIsNotCached) {
  OpenSingle();
  ASSERT_EQ(driver.put_QueryInstrumentStatus(VARIANT_TRUE), S_OK);
  device->OnQuery("*ESR?", "0\n");
  CVelmoraQdxOutput& out = Out();
  ASSERT_EQ(out.put_VoltageLevel(5), S_OK);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 0", "*ESR?", ":VOLT 5", "*ESR?"}));
  device->OnQuery("*ESR?", "32\n");  // command error
  EXPECT_EQ(out.put_VoltageLevel(6), kInstrumentError);
  device->OnQuery("*ESR?", "0\n");
  EXPECT_EQ(out.put_VoltageLevel(6), S_OK);  // sent again: the failed write was not cached
  EXPECT_EQ(Traffic(), (Lines{":VOLT 6", "*ESR?", ":VOLT 6", "*ESR?"}));
}

TEST_F(OutputOnDevice, ConfigureMethodsGoThroughTheSetters) {
  OpenSingle();
  CVelmoraQdxOutput& out = Out();
  ASSERT_EQ(out.ConfigureCurrentLimit(VelmoraQdxCurrentLimitTrip, 5), S_OK);
  ASSERT_EQ(out.ConfigureOVP(VARIANT_FALSE, 40), S_OK);
  ASSERT_EQ(out.IviDCPwr().ConfigureCurrentLimit(IviDCPwrCurrentLimitRegulate, 6), S_OK);
  ASSERT_EQ(out.IviDCPwr().ConfigureOVP(VARIANT_TRUE, 40), S_OK);  // unchanged: cached
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 0", ":CURR 5", ":VOLT:PROT 40", ":CURR 6"}));
  EXPECT_EQ(out.ConfigureCurrentLimit(VelmoraQdxCurrentLimitTrip, 80), kInvalidValue);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Invalid value (80) for method put_CurrentLimit, parameter val.\r\n");
}

TEST_F(OutputOnDevice, MaximumQueriesAskTheInstrument) {
  OpenSingle();
  device->OnQuery(":VOLT? MAX", "+3.1500E+01\n").OnQuery(":CURR? MAX", "78.75\n");
  double v = 0;
  ASSERT_EQ(Out().QueryVoltageLevelMax(10, &v), S_OK);
  EXPECT_EQ(v, 31.5);
  ASSERT_EQ(Out().QueryCurrentLimitMax(10, &v), S_OK);
  EXPECT_EQ(v, 78.75);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 0", ":VOLT? MAX", ":CURR? MAX"}));
}

TEST_F(OutputOnDevice, ClassCompliantExtras) {
  OpenSingle("QDX750L");
  CIviDCPwrOutput& ivi = Out().IviDCPwr();
  VARIANT_BOOL on = VARIANT_FALSE;
  ASSERT_EQ(ivi.get_OVPEnabled(&on), S_OK);
  EXPECT_EQ(on, VARIANT_TRUE);
  EXPECT_EQ(ivi.put_OVPEnabled(VARIANT_TRUE), S_OK);
  EXPECT_EQ(ivi.put_OVPEnabled(VARIANT_FALSE), kValueNotSupported);

  struct Case {
    IviDCPwrRangeTypeEnum type;
    double range;
    HRESULT expected;
  };
  const Case cases[] = {{IviDCPwrRangeCurrent, 78.75, S_OK},
                        {IviDCPwrRangeVoltage, 31.5, S_OK},
                        {IviDCPwrRangeVoltage, 0, S_OK},
                        {IviDCPwrRangeVoltage, 31.6, kInvalidValue},
                        {IviDCPwrRangeCurrent, -1, kInvalidValue},
                        {static_cast<IviDCPwrRangeTypeEnum>(2), 1, kInvalidValue}};
  for (const Case& c : cases) EXPECT_EQ(ivi.ConfigureRange(c.type, c.range), c.expected) << c.range;
  ASSERT_EQ(driver.put_RangeCheck(VARIANT_FALSE), S_OK);
  EXPECT_EQ(ivi.ConfigureRange(IviDCPwrRangeVoltage, 1000), S_OK);
  EXPECT_EQ(ivi.ConfigureRange(static_cast<IviDCPwrRangeTypeEnum>(2), 1), kInvalidValue);

  device->OnQuery(":CURR:TRIG?", "7\n");
  double v = 0;
  ASSERT_EQ(ivi.put_TriggeredCurrentLimit(3), S_OK);
  driver.InvalidateAllAttributes();
  ASSERT_EQ(ivi.get_TriggeredCurrentLimit(&v), S_OK);
  EXPECT_EQ(v, 7.0);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 0", ":CURR:TRIG 3", ":CURR:TRIG?"}));
}

TEST_F(OutputOnDevice, SessionChecksComeFirst) {
  OpenSingle();
  CVelmoraQdxOutput& out = Out();
  EXPECT_EQ(out.get_VoltageLevel(nullptr), kNullPointer);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Null pointer passed for method get_VoltageLevel, parameter val.\r\n");
  EXPECT_EQ(out.Measure(VelmoraQdxMeasurementVoltage, nullptr), kNullPointer);
  ASSERT_EQ(driver.Close(), S_OK);
  double v = 0;
  EXPECT_EQ(out.get_VoltageLevel(&v), kNotInitialized);
  EXPECT_EQ(out.put_VoltageLevel(1), kNotInitialized);
  EXPECT_EQ(out.get_VoltageLevel(nullptr), kNotInitialized);  // before the pointer check
}

TEST_F(OutputOnDevice, ResetForgetsTheCachedLevels) {
  OpenSingle();
  device->OnQuery("*RST;*OPC?", "1\n").OnQuery(":VOLT?", "0\n");
  CVelmoraQdxOutput& out = Out();
  ASSERT_EQ(out.put_VoltageLevel(5), S_OK);
  ASSERT_EQ(driver.Reset(), S_OK);
  Traffic();
  double v = -1;
  ASSERT_EQ(out.get_VoltageLevel(&v), S_OK);
  EXPECT_EQ(v, 0.0);
  EXPECT_EQ(Traffic(), (Lines{":VOLT?"}));  // channel 0 is still selected
}

// Two threads driving two outputs: the selection and the command of one call are never split
// by the other thread's traffic, with or without the cached selection.
TEST_F(OutputOnDevice, ConcurrentOutputsKeepSelectionAndCommandTogether) {
  OpenTwoChannels();
  for (VARIANT_BOOL cache : {VARIANT_TRUE, VARIANT_FALSE}) {
    ASSERT_EQ(driver.put_Cache(cache), S_OK);
    Traffic();
    auto drive = [this](const char* name, int channel) {
      CVelmoraQdxOutput& out = Out(name);
      for (int i = 0; i < 200; ++i) out.put_VoltageLevel(channel * 10 + (i % 7));
    };
    std::thread one(drive, "Output1", 1);
    std::thread two(drive, "Output2", 2);
    one.join();
    two.join();
    int selected = -1;
    int commands = 0;
    for (const std::string& line : Traffic()) {
      if (std::sscanf(line.c_str(), ":INST:NSEL %d", &selected) == 1) continue;
      int volts = 0;
      ASSERT_EQ(std::sscanf(line.c_str(), ":VOLT %d", &volts), 1) << line;
      EXPECT_EQ(volts / 10, selected) << line;
      ++commands;
    }
    EXPECT_GT(commands, 2);
  }
}

}  // namespace
}  // namespace veqdx::dcpwr::testing
