// A multi-channel unit: channel selection, isolation of settings and status per channel,
// global commands, the trigger model and the setting memories.
#include "sim_client.h"

namespace qdxsim::test {
namespace {

class ChannelsTest : public EmulatorFixture {
 protected:
  void SetUp() override {
    // Channel 1: 30 V / 75 A, channel 2: 230 V / 10 A, channel 3: the unit's model, 80 V / 28 A.
    c_ = startAndConnect(testConfig("QDX750ML", {{1, "QDX750L"}, {2, "QDX750MH"}, {3, ""}}));
    c_->send("*CLS");
  }
  std::string on(int channel, const std::string& message) {
    return c_->query(":INST:NSEL " + std::to_string(channel) + ";" + message);
  }
  std::unique_ptr<SimClient> c_;
};

TEST_F(ChannelsTest, SettingsAndLimitsArePerChannel) {
  c_->send(":INST:NSEL 1;:VOLT 10;:OUTP:PON FORC");
  c_->send(":INST:NSEL 2;:VOLT 100");
  EXPECT_EQ(on(1, ":VOLT?;:OUTP:PON?"), "10;FORC");
  EXPECT_EQ(on(2, ":VOLT?;:OUTP:PON?"), "100;SAFE");
  EXPECT_EQ(on(3, ":VOLT?;:VOLT? MAX;:CURR? MAX"), "0;80;28");
  c_->send(":INST:NSEL 1;:VOLT 100");  // beyond 105 % of 30 V on channel 1 only
  EXPECT_EQ(on(1, ":VOLT?"), "10");
  EXPECT_EQ(c_->errors(), std::vector<std::string>{"-222,\"Data out of range\""});
}

TEST_F(ChannelsTest, SelectingAnUnknownChannelFailsAndKeepsTheSelection) {
  c_->send(":INST:NSEL 2");
  for (const char* bad : {":INST:NSEL 4", ":INST:NSEL 0", ":INST:NSEL -1"}) {
    SCOPED_TRACE(bad);
    c_->send(bad);
    EXPECT_EQ(c_->query(":INST:NSEL?"), "2");
    EXPECT_EQ(c_->errors(), std::vector<std::string>{"-222,\"Data out of range\""});
  }
  c_->send(":STAT:OPER:INST:ISUM4:COND?");
  EXPECT_EQ(c_->errors(), std::vector<std::string>{"-114,\"Header suffix out of range\""});
}

TEST_F(ChannelsTest, StatusIsKeptPerChannel) {
  c_->send(":INST:NSEL 2;:VOLT 20;:CURR 5;:OUTP 1");   // CV on channel 2 (2 A into 10 ohm)
  c_->send(":INST:NSEL 3;:VOLT 20;:OUTP 1;:VOLT:PROT 5");  // over-voltage trip on channel 3
  EXPECT_EQ(c_->query(":STAT:OPER:INST:ISUM1:COND?;:STAT:OPER:INST:ISUM2:COND?;"
                      ":STAT:OPER:INST:ISUM3:COND?"),
            "0;256;0");
  EXPECT_EQ(c_->query(":STAT:QUES:INST:ISUM1:COND?;:STAT:QUES:INST:ISUM2:COND?;"
                      ":STAT:QUES:INST:ISUM3:COND?"),
            "0;0;1");
  // Summaries pass events up: channel 3 was in CV before it tripped. Reading clears that.
  EXPECT_EQ(c_->query(":STAT:OPER:INST:ISUM3?"), "256");
  // The instrument summary registers carry bit n for channel n; the top level only bit 13.
  EXPECT_EQ(c_->query(":STAT:OPER:INST:COND?;:STAT:QUES:INST:COND?"), "4;8");
  EXPECT_EQ(c_->query(":STAT:OPER:COND?;:STAT:QUES:COND?"), "8192;8192");
  // Masking a channel's summary enable removes its bit.
  c_->send(":STAT:QUES:INST:ISUM3:ENAB 0");
  EXPECT_EQ(c_->query(":STAT:QUES:INST:COND?"), "0");
  EXPECT_EQ(on(2, ":OUTP?;:MEAS:CURR?"), "1;2");
  EXPECT_EQ(on(3, ":OUTP?;:MEAS:CURR?"), "0;0");
}

TEST_F(ChannelsTest, GlobalCommandsSetAllChannelsOrNone) {
  c_->send(":GLOB:VOLT 20;:GLOB:CURR 1.5;:GLOB:OUTP 1");
  for (int ch : {1, 2, 3}) {
    SCOPED_TRACE(ch);
    EXPECT_EQ(on(ch, ":VOLT?;:CURR?;:OUTP?"), "20;1.5;1");
  }
  c_->send(":GLOB:VOLT 40");  // too high for channel 1: nothing changes
  for (int ch : {1, 2, 3}) EXPECT_EQ(on(ch, ":VOLT?"), "20");
  c_->send(":GLOB:OUTP 0");
  for (int ch : {1, 2, 3}) EXPECT_EQ(on(ch, ":OUTP?"), "0");
  EXPECT_EQ(c_->errors(), std::vector<std::string>{"-222,\"Data out of range\""});
}

TEST_F(ChannelsTest, TriggerAppliesTriggeredLevelsBySource) {
  c_->send(":INST:NSEL 1;:VOLT 1;:VOLT:TRIG 11;:CURR:TRIG 2;:TRIG:TRAN:SOUR BUS");
  c_->send(":INST:NSEL 2;:VOLT 2;:VOLT:TRIG 22;:TRIG:TRAN:SOUR IMM");
  c_->send(":INST:NSEL 3;:VOLT 3;:TRIG:TRAN:SOUR BUS");
  c_->send(":INIT");  // channel 2 triggers at once, channels 1 and 3 wait for the bus
  EXPECT_EQ(on(1, ":VOLT?"), "1");
  EXPECT_EQ(on(2, ":VOLT?"), "22");
  EXPECT_EQ(c_->query(":STAT:OPER:INST:ISUM1:COND?;:STAT:OPER:INST:ISUM2:COND?"), "32;0");
  c_->send(":INIT");  // already armed
  c_->send("*TRG");
  EXPECT_EQ(on(1, ":VOLT?;:CURR?"), "11;2");
  EXPECT_EQ(on(3, ":VOLT?"), "3");  // its triggered level followed :VOLT
  EXPECT_EQ(c_->query("STAT:OPER:INST:ISUM1:COND?"), "0");
  c_->send("*TRG");  // nothing armed any more
  c_->send(":INST:NSEL 1;:VOLT:TRIG 5;:INIT;:ABOR;*TRG");
  EXPECT_EQ(on(1, ":VOLT?"), "11");
  EXPECT_EQ(c_->errors(), (std::vector<std::string>{"-213,\"Init ignored\"",
                                                    "-211,\"Trigger ignored\"",
                                                    "-211,\"Trigger ignored\""}));
}

TEST_F(ChannelsTest, MemoriesSaveAndRecallEveryChannel) {
  c_->send(":INST:NSEL 1;:VOLT 5;:CURR 7;:OUTP:PON AUTO;:INST:NSEL 2;:VOLT 50");
  c_->send("*SAV 2");
  c_->send(":INST:NSEL 1;:VOLT 6;:OUTP 1;:INST:NSEL 2;:VOLT 60");
  c_->send("*RCL 1");  // the untouched memory holds the defaults
  EXPECT_EQ(on(2, ":VOLT?"), "0");
  c_->send("*RCL 2");
  EXPECT_EQ(on(1, ":VOLT?;:CURR?;:OUTP:PON?;:OUTP?"), "5;7;AUTO;1");  // the output stays on
  EXPECT_EQ(on(2, ":VOLT?"), "50");
  c_->send("*SAV 0");
  c_->send("*RCL 4");
  EXPECT_EQ(c_->errors(),
            (std::vector<std::string>{"-222,\"Data out of range\"", "-222,\"Data out of range\""}));
}

TEST_F(ChannelsTest, ClientsShareOneInstrument) {
  auto other = connect();
  c_->send(":INST:NSEL 2;:VOLT 42");
  ASSERT_EQ(c_->query("*OPC?"), "1");  // done before the other client asks
  EXPECT_EQ(other->query(":INST:NSEL?;:VOLT?"), "2;42");  // the selection is the unit's
  other->send("FOO");
  ASSERT_EQ(other->query("*OPC?"), "1");
  EXPECT_EQ(c_->query(":SYST:ERR?"), "-113,\"Undefined header\"");
}

}  // namespace
}  // namespace qdxsim::test
