// End to end over a socket: the driver against the in-process qdx-sim emulator.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/error_reporter.h"
#include "core/velmoraqdx.h"
#include "dcpwr/output.h"
#include "qdx_sim.h"
#include "dcpwr/output_factory.h"

namespace veqdx::dcpwr::testing {
namespace {

using Lines = std::vector<std::string>;

class OutputOnEmulator : public ::testing::Test {
 protected:
  void Start(qdxsim::Config config) {
    config.port = 0;
    emulator_ = std::make_unique<qdxsim::Emulator>(std::move(config));
    std::string why;
    ASSERT_TRUE(emulator_->start(&why)) << why;
    const std::string resource =
        "TCPIP::127.0.0.1::" + std::to_string(emulator_->port()) + "::SOCKET";
    ASSERT_EQ(driver.Initialize(resource.c_str(), VARIANT_TRUE, VARIANT_FALSE, ""), S_OK)
        << ThreadErrorRecord().description;
    emulator_->takeTranscript();
  }
  VelmoraQdxOutput& Out(const char* name) {
    return dynamic_cast<VelmoraQdxOutput&>(*driver.FindChild(name));
  }
  Lines Transcript() { return emulator_->takeTranscript(); }

  void TearDown() override {
    if (driver.Initialized()) driver.Close();
    if (emulator_) emulator_->stop();
  }

  CVelmoraQdx driver{dcpwr::CreateOutput};
  std::unique_ptr<qdxsim::Emulator> emulator_;
};

TEST_F(OutputOnEmulator, SingleUnitSetEnableMeasureAndQueryState) {
  qdxsim::Config config;
  config.model = "QDX750L";
  config.loadOhms = 10.0;
  Start(config);
  VelmoraQdxOutput& out = Out("Output0");
  ASSERT_EQ(out.put_VoltageLevel(12.5), S_OK) << ThreadErrorRecord().description;
  ASSERT_EQ(out.put_CurrentLimit(5), S_OK);
  ASSERT_EQ(out.put_Enabled(VARIANT_TRUE), S_OK);

  double volts = 0;
  double amps = 0;
  ASSERT_EQ(out.Measure(VelmoraQdxMeasurementVoltage, &volts), S_OK)
      << ThreadErrorRecord().description;
  ASSERT_EQ(out.Measure(VelmoraQdxMeasurementCurrent, &amps), S_OK);
  EXPECT_NEAR(volts, 12.5, 0.01);
  EXPECT_NEAR(amps, 1.25, 0.01);  // 12.5 V into 10 ohms, below the 5 A limit
  VARIANT_BOOL cv = VARIANT_FALSE;
  VARIANT_BOOL cc = VARIANT_TRUE;
  ASSERT_EQ(out.QueryState(VelmoraQdxOutputStateConstantVoltage, &cv), S_OK)
      << ThreadErrorRecord().description;
  ASSERT_EQ(out.QueryState(VelmoraQdxOutputStateConstantCurrent, &cc), S_OK);
  EXPECT_EQ(cv, VARIANT_TRUE);
  EXPECT_EQ(cc, VARIANT_FALSE);

  double level = 0;
  ASSERT_EQ(driver.put_Cache(VARIANT_FALSE), S_OK);
  ASSERT_EQ(out.get_VoltageLevel(&level), S_OK);
  EXPECT_EQ(level, 12.5);
  VARIANT_BOOL on = VARIANT_FALSE;
  ASSERT_EQ(out.get_Enabled(&on), S_OK) << ThreadErrorRecord().description;
  EXPECT_EQ(on, VARIANT_TRUE);
  // Taken after a query: the emulator has handled everything sent before it.
  EXPECT_EQ(Transcript(),
            (Lines{":INST:NSEL 0", ":VOLT 12.5", ":CURR 5", ":OUTP 1", ":MEAS:VOLT?", ":MEAS:CURR?",
                   "STAT:OPER:COND?", "STAT:QUES:COND?", "STAT:OPER:COND?", "STAT:QUES:COND?",
                   ":INST:NSEL 0", ":VOLT?", ":INST:NSEL 0", ":OUTP?"}));
}

TEST_F(OutputOnEmulator, TwoChannelsAreAddressedSeparately) {
  qdxsim::Config config;
  config.model = "QDX1500H";
  config.channels = {{1, "QDX750ML"}, {2, "QDX750H"}};
  Start(config);
  ASSERT_EQ(Out("Output1").put_VoltageLevel(10), S_OK) << ThreadErrorRecord().description;
  ASSERT_EQ(Out("Output2").put_VoltageLevel(20), S_OK);
  ASSERT_EQ(Out("Output2").put_Enabled(VARIANT_TRUE), S_OK);
  ASSERT_EQ(driver.put_Cache(VARIANT_FALSE), S_OK);
  double one = 0;
  double two = 0;
  ASSERT_EQ(Out("Output1").get_VoltageLevel(&one), S_OK);
  ASSERT_EQ(Out("Output2").get_VoltageLevel(&two), S_OK);
  EXPECT_EQ(one, 10.0);
  EXPECT_EQ(two, 20.0);
  VARIANT_BOOL cv = VARIANT_FALSE;
  ASSERT_EQ(Out("Output2").QueryState(VelmoraQdxOutputStateConstantVoltage, &cv), S_OK)
      << ThreadErrorRecord().description;
  EXPECT_EQ(cv, VARIANT_TRUE);
  VARIANT_BOOL off = VARIANT_TRUE;
  ASSERT_EQ(Out("Output1").QueryState(VelmoraQdxOutputStateConstantVoltage, &off), S_OK);
  EXPECT_EQ(off, VARIANT_FALSE);  // output 1 was never switched on
  EXPECT_EQ(Transcript(), (Lines{":INST:NSEL 1", ":VOLT 10", ":INST:NSEL 2", ":VOLT 20", ":OUTP 1",
                                 ":INST:NSEL 1", ":VOLT?", ":INST:NSEL 2", ":VOLT?",
                                 "STAT:OPER:INST:ISUM2:COND?", "STAT:QUES:INST:ISUM2:COND?",
                                 "STAT:OPER:INST:ISUM1:COND?", "STAT:QUES:INST:ISUM1:COND?"}));
}

}  // namespace
}  // namespace veqdx::dcpwr::testing
