// Simulated sessions: values come from what was written, nothing reaches a device.
#include "output_fixture.h"

namespace veqdx::dcpwr::testing {
namespace {

TEST_F(OutputOnDevice, SimulatedLevelsRememberWhatWasWritten) {
  for (const char* options : {"Simulate=true", "Simulate=true, Cache=false"}) {
    SCOPED_TRACE(options);
    OpenSimulated(options);
    CVelmoraQdxOutput& out = Out();
    double v = -1;
    ASSERT_EQ(out.get_VoltageLevel(&v), S_OK);
    EXPECT_EQ(v, 0.0);
    ASSERT_EQ(out.put_VoltageLevel(12.5), S_OK);
    ASSERT_EQ(out.get_VoltageLevel(&v), S_OK);
    EXPECT_EQ(v, 12.5);
    VelmoraQdxOperationModeEnum mode = VelmoraQdxOperationModeCV;
    ASSERT_EQ(out.get_OperationPriority(&mode), S_OK);
    EXPECT_EQ(mode, VelmoraQdxOperationModeCC);
    ASSERT_EQ(out.put_OperationPriority(VelmoraQdxOperationModeCV), S_OK);
    ASSERT_EQ(out.get_OperationPriority(&mode), S_OK);
    EXPECT_EQ(mode, VelmoraQdxOperationModeCV);
    // The simulated unit has the QDX750ML's ratings: 84 V is the limit.
    EXPECT_EQ(out.put_VoltageLevel(84), S_OK);
    EXPECT_EQ(out.put_VoltageLevel(84.01), kInvalidValue);
    ASSERT_EQ(driver.Close(), S_OK);
  }
  EXPECT_FALSE(device->Connected());
  EXPECT_EQ(device->Written(), Lines{});
}

TEST_F(OutputOnDevice, SimulatedMeasurementFollowsTheOutputState) {
  OpenSimulated();
  CVelmoraQdxOutput& out = Out();
  ASSERT_EQ(out.put_VoltageLevel(12.5), S_OK);
  ASSERT_EQ(out.put_CurrentLimit(2), S_OK);
  double v = -1;
  ASSERT_EQ(out.Measure(VelmoraQdxMeasurementVoltage, &v), S_OK);
  EXPECT_EQ(v, 0.0);  // never switched on
  ASSERT_EQ(out.put_Enabled(VARIANT_TRUE), S_OK);
  ASSERT_EQ(out.Measure(VelmoraQdxMeasurementVoltage, &v), S_OK);
  EXPECT_EQ(v, 12.5);
  ASSERT_EQ(out.Measure(VelmoraQdxMeasurementCurrent, &v), S_OK);
  EXPECT_EQ(v, 2.0);
  ASSERT_EQ(out.put_Enabled(VARIANT_FALSE), S_OK);
  ASSERT_EQ(out.Measure(VelmoraQdxMeasurementVoltage, &v), S_OK);
  EXPECT_EQ(v, 0.0);
  EXPECT_EQ(out.Measure(static_cast<VelmoraQdxMeasurementTypeEnum>(3), &v), kInvalidValue);
}

TEST_F(OutputOnDevice, SimulatedQueriesAnswerWithoutIo) {
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
  EXPECT_EQ(out.StatusOperation().put_EnableRegister(1), kIoError);
}

}  // namespace
}  // namespace veqdx::dcpwr::testing
