// Trigger: the commands on the wire and what they do to the cached levels of every output.
#include "system_fixture.h"

namespace veqdx::dcpwr::testing {
namespace {

class TriggerTest : public SystemOnDevice {
 protected:
  // Levels and limits on both outputs, plus a triggered level that no trigger may touch.
  void CacheLevels() {
    ASSERT_EQ(Output("Output1").put_VoltageLevel(5), S_OK) << LastError();
    ASSERT_EQ(Output("Output1").put_CurrentLimit(1), S_OK) << LastError();
    ASSERT_EQ(Output("Output1").put_TriggeredVoltageLevel(9), S_OK) << LastError();
    ASSERT_EQ(Output("Output2").put_VoltageLevel(6), S_OK) << LastError();
    ASSERT_EQ(Output("Output2").put_CurrentLimit(2), S_OK) << LastError();
    device->ClearWritten();
  }
  // Reads voltage and current of both outputs; returns them in that order.
  std::vector<double> ReadLevels() {
    std::vector<double> values(4, -1.0);
    EXPECT_EQ(Output("Output1").get_VoltageLevel(&values[0]), S_OK) << LastError();
    EXPECT_EQ(Output("Output1").get_CurrentLimit(&values[1]), S_OK) << LastError();
    EXPECT_EQ(Output("Output2").get_VoltageLevel(&values[2]), S_OK) << LastError();
    EXPECT_EQ(Output("Output2").get_CurrentLimit(&values[3]), S_OK) << LastError();
    return values;
  }
};

struct LevelTrigger {
  const char* name;
  HRESULT (CTrigger::*fire)();
  const char* command;
  friend void PrintTo(const LevelTrigger& t, std::ostream* os) { *os << t.name; }
};

class LevelTriggerTest : public TriggerTest,
                         public ::testing::WithParamInterface<LevelTrigger> {};

TEST_P(LevelTriggerTest, SendsWithoutSelectionAndInvalidatesLevelsOfEveryOutput) {
  OpenTwoChannels();
  CacheLevels();
  EXPECT_EQ(ReadLevels(), (std::vector<double>{5, 1, 6, 2}));
  ASSERT_TRUE(device->Written().empty()) << "cached levels must answer without I/O";

  ASSERT_EQ((trigger.*GetParam().fire)(), S_OK) << LastError();
  EXPECT_EQ(device->Written(), Lines{GetParam().command});

  device->ClearWritten();
  device->OnQuery(":VOLT?", "7.5\n").OnQuery(":CURR?", "0.25\n");
  EXPECT_EQ(ReadLevels(), (std::vector<double>{7.5, 0.25, 7.5, 0.25}));
  EXPECT_EQ(device->Written(), (Lines{":INST:NSEL 1", ":VOLT?", ":CURR?", ":INST:NSEL 2",
                                      ":VOLT?", ":CURR?"}));

  // Only the programmed levels were dropped: the triggered level still answers from the cache.
  device->ClearWritten();
  double triggered = 0;
  EXPECT_EQ(Output("Output1").get_TriggeredVoltageLevel(&triggered), S_OK);
  EXPECT_EQ(triggered, 9);
  EXPECT_TRUE(device->Written().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Trigger, LevelTriggerTest,
    ::testing::Values(LevelTrigger{"Initiate", &CTrigger::Initiate, ":INIT"},
                      LevelTrigger{"SendSoftwareTrigger", &CTrigger::SendSoftwareTrigger, "*TRG"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(TriggerTest, AbortInvalidatesNothing) {
  OpenTwoChannels();
  CacheLevels();
  ASSERT_EQ(trigger.Abort(), S_OK) << LastError();
  EXPECT_EQ(device->Written(), Lines{":ABOR"});
  device->ClearWritten();
  EXPECT_EQ(ReadLevels(), (std::vector<double>{5, 1, 6, 2}));
  EXPECT_TRUE(device->Written().empty());
}

TEST_F(TriggerTest, FailedSendInvalidatesNothing) {
  OpenTwoChannels();
  CacheLevels();
  device->FailNextWrite("link down");
  EXPECT_EQ(trigger.Initiate(), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(), "VelmoraQdx: I/O error: link down.\r\n");
  device->ClearWritten();
  EXPECT_EQ(ReadLevels(), (std::vector<double>{5, 1, 6, 2}));
  EXPECT_TRUE(device->Written().empty());
}

// Simulated triggers send nothing but drop the cached levels and limits as real ones do; a
// simulated read of a dropped value no longer returns it (the out value is left at zero).
TEST_F(TriggerTest, SimulatedTriggersSendNothingAndInvalidateTheSimulatedLevels) {
  OpenSimulated();
  CVelmoraQdxOutput& output = Output("Output0");
  for (HRESULT (CTrigger::*fire)() : {&CTrigger::SendSoftwareTrigger, &CTrigger::Initiate}) {
    ASSERT_EQ(output.put_VoltageLevel(12.5), S_OK) << LastError();
    ASSERT_EQ(output.put_CurrentLimit(1.5), S_OK) << LastError();
    EXPECT_EQ(trigger.Abort(), S_OK) << LastError();
    double level = 0;
    double limit = 0;
    EXPECT_EQ(output.get_VoltageLevel(&level), S_OK);
    EXPECT_EQ(output.get_CurrentLimit(&limit), S_OK);
    EXPECT_EQ(level, 12.5);  // Abort invalidates nothing
    EXPECT_EQ(limit, 1.5);

    EXPECT_EQ((trigger.*fire)(), S_OK) << LastError();
    level = 0;
    limit = 0;
    EXPECT_EQ(output.get_VoltageLevel(&level), S_OK);
    EXPECT_EQ(output.get_CurrentLimit(&limit), S_OK);
    EXPECT_EQ(level, 0);
    EXPECT_EQ(limit, 0);
  }
  EXPECT_FALSE(device->Connected());
  EXPECT_TRUE(device->Writes().empty());
}

TEST_F(TriggerTest, EveryMemberNeedsAnInitializedSession) {
  for (HRESULT (CTrigger::*fire)() :
       {&CTrigger::Abort, &CTrigger::Initiate, &CTrigger::SendSoftwareTrigger}) {
    EXPECT_EQ((trigger.*fire)(), MakeHr(0x8004701Du));
    EXPECT_EQ(ThreadErrorRecord().interfaceName, "IVelmoraQdxTrigger");
  }
  EXPECT_TRUE(device->Writes().empty());
}

}  // namespace
}  // namespace veqdx::dcpwr::testing
