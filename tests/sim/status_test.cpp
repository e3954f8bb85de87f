// The electrical model and the status system: CV/CC/power limit on a resistive load,
// protection trips and their clearing, and the summary bits of "*STB?".
#include <cmath>
#include <cstdlib>
#include <limits>

#include "sim_client.h"

namespace qdxsim::test {
namespace {

class StatusTest : public EmulatorFixture {
 protected:
  void start(const char* model = "QDX750ML") {  // 80 V, 28 A, 750 W
    c_ = startAndConnect(testConfig(model));
    c_->send("*CLS");
  }
  void sync() { ASSERT_EQ(c_->query("*OPC?"), "1"); }  // earlier messages are done
  double number(const char* query) { return std::strtod(c_->query(query).c_str(), nullptr); }
  std::unique_ptr<SimClient> c_;
};

TEST_F(StatusTest, OperatingPointAndModeBitsFollowTheLoad) {
  struct Case {
    const char* model;
    double ohms;
    const char* settings;
    double volts, amps;
    int operation, questionable;
  };
  const double inf = std::numeric_limits<double>::infinity();
  const Case cases[] = {
      {"QDX750ML", 10, ":VOLT 20;:CURR 5;:OUTP 1", 20, 2, 0x100, 0},           // CV
      {"QDX750ML", 10, ":VOLT 20;:CURR 1;:OUTP 1", 10, 1, 0x400, 0},           // CC
      {"QDX750ML", 10, ":VOLT 20;:CURR 5;:OUTP 0", 0, 0, 0, 0},                // off
      {"QDX750ML", inf, ":VOLT 20;:CURR 5;:OUTP 1", 20, 0, 0x100, 0},          // open circuit
      {"QDX750ML", 0, ":VOLT 20;:CURR 5;:OUTP 1", 0, 5, 0x400, 0},             // short
      {"QDX750L", 1, ":VOLT 30;:CURR 75;:OUTP 1", std::sqrt(750.0), std::sqrt(750.0), 0, 0x8},
  };
  for (const auto& k : cases) {
    SCOPED_TRACE(std::string(k.model) + " " + k.settings);
    start(k.model);
    emulator_->instrument().setLoadOhms(0, k.ohms);
    c_->send(k.settings);
    EXPECT_NEAR(number(":MEAS:VOLT?"), k.volts, 1e-9);
    EXPECT_NEAR(number(":MEAS:CURR?"), k.amps, 1e-9);
    EXPECT_EQ(c_->query("STAT:OPER:COND?"), std::to_string(k.operation));
    EXPECT_EQ(c_->query("STAT:QUES:COND?"), std::to_string(k.questionable));
    EXPECT_EQ(c_->query(":STAT:OPER:INST:ISUM0:COND?"), std::to_string(k.operation));
    EXPECT_EQ(c_->errors(), std::vector<std::string>{});
    emulator_->stop();
  }
}

TEST_F(StatusTest, OverVoltageTripLatchesUntilCleared) {
  start();
  c_->send(":VOLT 20;:OUTP 1");
  c_->send(":VOLT:PROT 10");  // below the output voltage: trips at once
  EXPECT_EQ(c_->query(":OUTP?"), "0");
  EXPECT_EQ(c_->query(":MEAS:VOLT?"), "0");
  EXPECT_EQ(c_->query("STAT:QUES:COND?"), "1");
  EXPECT_EQ(c_->query(":STAT:QUES:EVEN?"), "1");
  EXPECT_EQ(c_->query(":STAT:QUES:EVEN?"), "0");  // reading clears the event
  EXPECT_EQ(c_->query("STAT:OPER:COND?"), "0");
  // Safe recovery: no switching on while latched.
  c_->send(":VOLT:PROT 50;:OUTP 1");
  EXPECT_EQ(c_->query(":OUTP?"), "0");
  EXPECT_EQ(c_->errors(), std::vector<std::string>{"-221,\"Settings conflict\""});
  c_->send(":OUTP:PROT:CLE");
  EXPECT_EQ(c_->query("STAT:QUES:COND?"), "0");
  EXPECT_EQ(c_->query(":OUTP?"), "0");  // clearing does not switch on
  c_->send(":OUTP 1");
  EXPECT_EQ(c_->query(":OUTP?;STAT:OPER:COND?"), "1;256");
}

TEST_F(StatusTest, AutomaticRecoverySwitchesOnAgain) {
  start();
  c_->send(":SYST:CONF:PROT:REC AUTO;:VOLT 20;:OUTP 1;:VOLT:PROT 10");
  EXPECT_EQ(c_->query(":OUTP?;STAT:QUES:COND?"), "0;1");
  c_->send(":VOLT:PROT 50;:OUTP 1");
  EXPECT_EQ(c_->query(":OUTP?;STAT:QUES:COND?"), "1;0");
  EXPECT_EQ(c_->errors(), std::vector<std::string>{});
}

// 20 V into 10 ohm draws 2 A: above a 1 A limit, which trips only when set to.
TEST_F(StatusTest, OverCurrentTripsOrRegulates) {
  const std::pair<const char*, const char*> cases[] = {
      {":VOLT 20;:CURR 5;:OUTP 1;:CURR:PROT 1", "0;0;2"},  // OCP below the load current
      {":CURR:PROT:STAT 1;:VOLT 20;:CURR 5;:OUTP 1;:CURR 1", "0;0;2"},
      {":CURR:PROT:STAT 0;:VOLT 20;:CURR 1;:OUTP 1", "1;1024;0"},
  };
  for (const auto& [commands, state] : cases) {
    SCOPED_TRACE(commands);
    start();
    c_->send(commands);
    EXPECT_EQ(c_->query(":OUTP?;:STAT:OPER:COND?;:STAT:QUES:COND?"), state);
    EXPECT_EQ(c_->errors(), std::vector<std::string>{});
    emulator_->stop();
  }
}

TEST_F(StatusTest, InjectedAlarmSwitchesOffUntilCleared) {
  start();
  c_->send(":VOLT 5;:OUTP 1");
  sync();
  ASSERT_TRUE(emulator_->instrument().raiseAlarm(0, 0x10));  // over-temperature
  EXPECT_EQ(c_->query(":OUTP?;STAT:QUES:COND?"), "0;16");
  c_->send(":OUTP:PROT:CLE");
  EXPECT_EQ(c_->query("STAT:QUES:COND?"), "0");
  EXPECT_FALSE(emulator_->instrument().raiseAlarm(5, 0x10));
}

TEST_F(StatusTest, StatusByteSummaries) {
  start();
  EXPECT_EQ(c_->query("*STB?"), "0");
  c_->send("FOO");                                        // an error in the queue
  EXPECT_EQ(c_->query("*STB?"), "4");
  c_->send("*ESE 32");                                    // command error enabled
  EXPECT_EQ(c_->query("*STB?"), "36");
  c_->send("*SRE 32");                                    // ... and requesting service
  EXPECT_EQ(c_->query("*STB?"), "100");
  EXPECT_EQ(c_->query("*ESR?"), "32");                    // reading clears the ESR
  EXPECT_EQ(c_->query("*STB?"), "4");
  c_->errors();
  c_->send("*SRE 0");
  c_->send(":STAT:OPER:ENAB 256;:VOLT 5;:OUTP 1");        // CV enabled and present
  EXPECT_EQ(c_->query("*STB?"), "128");
  c_->send(":STAT:QUES:ENAB 1;:VOLT:PROT 1");             // over-voltage enabled and tripped
  EXPECT_EQ(c_->query("*STB?"), "136");
  EXPECT_EQ(c_->query(":STAT:QUES?"), "1");               // reading the event clears the summary
  EXPECT_EQ(c_->query(":STAT:OPER?"), "256");
  EXPECT_EQ(c_->query("*STB?"), "0");
  EXPECT_EQ(c_->query(":SYST:ERR?;*STB?"), "0,\"No error\";16");  // an answer is queued
}

TEST_F(StatusTest, ClearAndPresetTouchDifferentRegisters) {
  start();
  c_->send(":STAT:OPER:ENAB 256;:STAT:QUES:ENAB 3;*ESE 16;:STAT:OPER:INST:ISUM0:ENAB 1");
  c_->send(":VOLT 5;:OUTP 1;FOO");
  c_->send("*CLS");  // events, ESR and the error queue; not the enables
  EXPECT_EQ(c_->query(":STAT:OPER?;*ESR?;:SYST:ERR:COUN?;:STAT:OPER:ENAB?;*ESE?"), "0;0;0;256;16");
  EXPECT_EQ(c_->query("STAT:OPER:COND?"), "256");  // conditions stay
  c_->send(":STAT:PRES");
  EXPECT_EQ(c_->query(":STAT:OPER:ENAB?;:STAT:QUES:ENAB?;:STAT:OPER:INST:ISUM0:ENAB?;*ESE?"),
            "0;0;32767;16");
}

TEST_F(StatusTest, ResetRestoresDefaultsButNotStatusEnables) {
  start();
  c_->send(":VOLT 12;:CURR 3;:OUTP 1;:VOLT:PROT 40;:CURR:PROT 5;:OUTP:PON FORC;*ESE 8");
  c_->send("TRIG:TRAN:SOUR BUS;:CURR:EXT:SOUR VOLT;:SYST:CONF:BLE 0");
  c_->send("*RST");
  struct Case {
    const char* query;
    const char* value;
  };
  const Case defaults[] = {
      {":VOLT?", "0"},          {":CURR?", "28"},          {":OUTP?", "0"},
      {":VOLT:PROT?", "84"},    {":CURR:PROT?", "29.4"},  {":VOLT:LIM:LOW?", "0"},
      {":VOLT:TRIG?", "0"},     {":CURR:TRIG?", "28"},     {":CURR:PROT:STAT?", "0"},
      {":OUTP:PON?", "SAFE"},   {":SYST:CONF:PROT:REC?", "SAFE"},
      {":SYST:CONF:STAR:PRI?", "CV"}, {":SYST:CONF:BLE?", "1"}, {":SYST:CONF:MON:RANG?", "HIGH"},
      {":OUTP:EXT?", "0"},      {":OUTP:EXT:LOG?", "HIGH"}, {":VOLT:EXT:RANG?", "HIGH"},
      {":CURR:EXT:SOUR?", "NONE"}, {":VOLT:EXT:SOUR?", "NONE"}, {"TRIG:TRAN:SOUR?", "IMM"},
      {"*ESE?", "8"},
  };
  for (const auto& d : defaults) EXPECT_EQ(c_->query(d.query), d.value) << d.query;
}

TEST_F(StatusTest, UnderVoltageLimitBoundsTheVoltageSetting) {
  start();
  c_->send(":VOLT 5;:VOLT:LIM:LOW 10");  // above the setting: refused
  c_->send(":VOLT:LIM:LOW 3;:VOLT 2");   // the setting below the limit: refused
  EXPECT_EQ(c_->query(":VOLT?;:VOLT:LIM:LOW?"), "5;3");
  EXPECT_EQ(c_->errors(),
            (std::vector<std::string>{"-221,\"Settings conflict\"", "-221,\"Settings conflict\""}));
}

TEST_F(StatusTest, PowerCycleAppliesThePowerOnState) {
  struct Case {
    const char* pon;
    const char* outputBefore;
    const char* outputAfter;
  };
  const Case cases[] = {{"SAFE", "1", "0"}, {"FORC", "0", "1"}, {"AUTO", "1", "1"}, {"AUTO", "0", "0"}};
  for (const auto& k : cases) {
    SCOPED_TRACE(std::string(k.pon) + " from " + k.outputBefore);
    start();
    c_->send(std::string(":VOLT 5;:OUTP:PON ") + k.pon + ";:OUTP " + k.outputBefore + ";FOO");
    sync();
    emulator_->instrument().powerCycle();
    EXPECT_EQ(c_->query(":OUTP?;:VOLT?;*ESR?;:SYST:ERR:COUN?"),
              std::string(k.outputAfter) + ";5;128;0");
    emulator_->stop();
  }
}

}  // namespace
}  // namespace qdxsim::test
