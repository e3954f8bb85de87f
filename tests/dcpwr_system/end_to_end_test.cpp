// A whole session against the emulated instrument (qdx-sim, in process, on a free loopback
// port): levels through the outputs, a bus trigger, measurements, the status byte and the
// error queue, direct I/O, and a reset, with the exact traffic of the trigger steps.
#include <cmath>
#include <string>

#include "qdx_sim.h"
#include "system_fixture.h"
#include "dcpwr/output_factory.h"

namespace veqdx::dcpwr::testing {
namespace {

class EndToEndTest : public ::testing::Test {
 protected:
  void SetUp() override {
    qdxsim::Config config;
    config.model = "QDX750ML";
    config.port = 0;
    config.channels = {{1, "QDX750ML"}, {2, "QDX750H"}};
    emulator = std::make_unique<qdxsim::Emulator>(config);
    std::string why;
    ASSERT_TRUE(emulator->start(&why)) << why;
    resource = "TCPIP::127.0.0.1::" + std::to_string(emulator->port()) + "::SOCKET";
  }
  void TearDown() override {
    driver.Close();
    emulator->stop();
  }

  CVelmoraQdxOutput& Output(const char* name) {
    auto* output = dynamic_cast<CVelmoraQdxOutput*>(driver.FindChild(name));
    if (output == nullptr) throw std::logic_error(std::string("no output ") + name);
    return *output;
  }
  double Read(HRESULT (CVelmoraQdxOutput::*getter)(double*), const char* output) {
    double value = -1;
    EXPECT_EQ((Output(output).*getter)(&value), S_OK) << LastError();
    return value;
  }
  double Measure(const char* output, VelmoraQdxMeasurementTypeEnum type) {
    double value = -1;
    EXPECT_EQ(Output(output).Measure(type, &value), S_OK) << LastError();
    return value;
  }
  std::uint8_t StatusByte() {
    IVelmoraQdxStatusStatusByte* stb = nullptr;
    EXPECT_EQ(status.get_StatusByte(&stb), S_OK);
    std::uint8_t value = 0;
    EXPECT_EQ(stb->get_ConditionRegister(&value), S_OK) << LastError();
    return value;
  }

  std::unique_ptr<qdxsim::Emulator> emulator;
  std::string resource;
  CVelmoraQdx driver{dcpwr::CreateOutput};
  CTrigger trigger{driver};
  CStatus status{driver};
  CGlobal global{driver};
  CSystem system{driver};
};

TEST_F(EndToEndTest, LevelsTriggerMeasurementStatusAndReset) {
  ASSERT_EQ(driver.Initialize(resource.c_str(), VARIANT_TRUE, VARIANT_TRUE, ""), S_OK)
      << LastError();
  ASSERT_EQ(driver.OutputNames(), (Lines{"Output1", "Output2"}));

  // Programmed and triggered levels, bus trigger, outputs on.
  CVelmoraQdxOutput& one = Output("Output1");
  CVelmoraQdxOutput& two = Output("Output2");
  for (CVelmoraQdxOutput* output : {&one, &two})
    ASSERT_EQ(output->put_TriggerSource(VelmoraQdxTriggerSourceSwTrigFunc), S_OK) << LastError();
  ASSERT_EQ(one.put_VoltageLevel(5), S_OK) << LastError();
  ASSERT_EQ(one.put_CurrentLimit(2), S_OK) << LastError();
  ASSERT_EQ(one.put_TriggeredVoltageLevel(7.5), S_OK) << LastError();
  ASSERT_EQ(one.put_TriggeredCurrentLimit(1.5), S_OK) << LastError();
  ASSERT_EQ(two.put_VoltageLevel(100), S_OK) << LastError();
  ASSERT_EQ(two.put_CurrentLimit(1), S_OK) << LastError();
  ASSERT_EQ(two.put_TriggeredVoltageLevel(120), S_OK) << LastError();
  ASSERT_EQ(two.put_TriggeredCurrentLimit(0.5), S_OK) << LastError();
  ASSERT_EQ(global.put_Enabled(VARIANT_TRUE), S_OK) << LastError();
  EXPECT_EQ(Read(&CVelmoraQdxOutput::get_VoltageLevel, "Output1"), 5);  // from the cache
  // Commands have no reply: a query makes sure the emulator has seen them all before the
  // transcript is cut.
  StatusByte();
  emulator->takeTranscript();

  // Armed by ":INIT", fired by "*TRG": the instrument now runs the triggered levels, and the
  // driver asks for them instead of answering from its cache.
  ASSERT_EQ(trigger.Initiate(), S_OK) << LastError();
  ASSERT_EQ(trigger.SendSoftwareTrigger(), S_OK) << LastError();
  EXPECT_EQ(Read(&CVelmoraQdxOutput::get_VoltageLevel, "Output1"), 7.5);
  EXPECT_EQ(Read(&CVelmoraQdxOutput::get_CurrentLimit, "Output1"), 1.5);
  EXPECT_EQ(Read(&CVelmoraQdxOutput::get_VoltageLevel, "Output2"), 120);
  EXPECT_EQ(Read(&CVelmoraQdxOutput::get_CurrentLimit, "Output2"), 0.5);
  EXPECT_EQ(emulator->takeTranscript(),
            (Lines{":INIT", "*TRG", ":INST:NSEL 1", ":VOLT?", ":CURR?", ":INST:NSEL 2", ":VOLT?",
                   ":CURR?"}));

  // 10 ohm loads: output 1 regulates its voltage, output 2 its current.
  EXPECT_NEAR(Measure("Output1", VelmoraQdxMeasurementVoltage), 7.5, 1e-6);
  EXPECT_NEAR(Measure("Output1", VelmoraQdxMeasurementCurrent), 0.75, 1e-6);
  EXPECT_NEAR(Measure("Output2", VelmoraQdxMeasurementCurrent), 0.5, 1e-6);

  // An out-of-range memory is reported by the driver and refused by the instrument, whose
  // error then shows in the status byte until the error queue is read.
  EXPECT_EQ(StatusByte() & 0x04, 0);
  EXPECT_EQ(system.SaveState(0), S_OK);
  EXPECT_EQ(ThreadErrorRecord().hr, MakeHr(0x80047010u));
  EXPECT_EQ(StatusByte() & 0x04, 0x04);
  std::int32_t code = 0;
  std::string message;
  ASSERT_EQ(driver.ErrorQuery(&code, &message), S_OK) << LastError();
  EXPECT_EQ(code, -222);
  EXPECT_EQ(message, "Data out of range");
  EXPECT_EQ(StatusByte() & 0x04, 0);

  // Enable registers go to the instrument and come back.
  IVelmoraQdxStatusStandardEvent* events = nullptr;
  ASSERT_EQ(status.get_StandardEvent(&events), S_OK);
  std::uint8_t ese = 0;
  EXPECT_EQ(events->put_EnableRegister(32), S_OK) << LastError();
  EXPECT_EQ(events->get_EnableRegister(&ese), S_OK) << LastError();
  EXPECT_EQ(ese, 32);
  EXPECT_EQ(status.Clear(), S_OK) << LastError();

  // Direct I/O on the driver's connection.
  ASSERT_EQ(system.SystemWrite("*IDN?"), S_OK) << LastError();
  std::string idn;
  ASSERT_EQ(system.SystemRead(256, idn), S_OK) << LastError();
  EXPECT_EQ(idn, "Velmora,QDX750ML,SIM0001,1.00\n");

  // A reset brings the levels back to the instrument's defaults and empties the cache.
  ASSERT_EQ(driver.Reset(), S_OK) << LastError();
  EXPECT_EQ(Read(&CVelmoraQdxOutput::get_VoltageLevel, "Output1"), 0);
  EXPECT_EQ(Read(&CVelmoraQdxOutput::get_VoltageLevel, "Output2"), 0);
}

TEST_F(EndToEndTest, GlobalLevelReachesEveryOutputWithOneCommand) {
  ASSERT_EQ(driver.Initialize(resource.c_str(), VARIANT_TRUE, VARIANT_TRUE, ""), S_OK)
      << LastError();
  emulator->takeTranscript();
  ASSERT_EQ(global.put_VoltageLevel(12), S_OK) << LastError();
  // Nothing was cached for the outputs yet, so the reads ask the instrument.
  EXPECT_EQ(Read(&CVelmoraQdxOutput::get_VoltageLevel, "Output1"), 12);
  EXPECT_EQ(Read(&CVelmoraQdxOutput::get_VoltageLevel, "Output2"), 12);
  EXPECT_EQ(emulator->takeTranscript(),
            (Lines{":GLOB:VOLT 12", ":INST:NSEL 1", ":VOLT?", ":INST:NSEL 2", ":VOLT?"}));
}

}  // namespace
}  // namespace veqdx::dcpwr::testing
