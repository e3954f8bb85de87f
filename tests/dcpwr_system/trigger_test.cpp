// Trigger: the commands on the wire and what they do to the cached levels of every output.
#include "system_fixture.h"

namespace veqdx::dcpwr::testing {
namespace {

class TriggerTest : public SystemOnDevice {
 protected:
  // Reads voltage and current of both outputs; returns them in that order.
  std::vector<double> ReadLevels() {
    std::vector<double> values(4, -1.0);
    EXPECT_EQ(Out("Output1").get_VoltageLevel(&values[0]), S_OK) << LastError();
    EXPECT_EQ(Out("Output1").get_CurrentLimit(&values[1]), S_OK) << LastError();
    EXPECT_EQ(Out("Output2").get_VoltageLevel(&values[2]), S_OK) << LastError();
    EXPECT_EQ(Out("Output2").get_CurrentLimit(&values[3]), S_OK) << LastError();
    return values;
  }
};

// Initiate and a software trigger drop the programmed levels of every output (never the
// triggered ones); Abort and a send that failed drop nothing. No trigger selects a channel.
TEST_F(TriggerTest, TriggersInvalidateTheLevelsOfEveryOutput) {
  OpenTwoChannels();
  struct Case {
    HRESULT (CTrigger::*fire)();
    const char* command;  // nullptr: the send fails
    bool invalidates;
  };
  const Case cases[] = {{&CTrigger::Initiate, ":INIT", true},
                        {&CTrigger::SendSoftwareTrigger, "*TRG", true},
                        {&CTrigger::Abort, ":ABOR", false},
                        {&CTrigger::Initiate, nullptr, false}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.command ? c.command : "failed send");
    for (const char* name : {"Output1", "Output2"}) {
      ASSERT_EQ(Out(name).put_VoltageLevel(5), S_OK) << LastError();
      ASSERT_EQ(Out(name).put_CurrentLimit(1), S_OK) << LastError();
      if (std::string_view(name) == "Output1") {  // after its levels, whose writes drop it
        ASSERT_EQ(Out(name).put_TriggeredVoltageLevel(9), S_OK) << LastError();
      }
    }
    device->ClearWritten();
    if (!c.command) device->FailNextWrite("link down");
    EXPECT_EQ((trigger.*c.fire)(), c.command ? S_OK : E_VELMORAQDX_IO_GENERAL) << LastError();
    EXPECT_EQ(device->Written(), c.command ? Lines{c.command} : Lines{});

    device->ClearWritten();
    device->OnQuery(":VOLT?", "7.5\n").OnQuery(":CURR?", "0.25\n");
    if (c.invalidates) {
      EXPECT_EQ(ReadLevels(), (std::vector<double>{7.5, 0.25, 7.5, 0.25}));
      EXPECT_EQ(device->Written(), (Lines{":INST:NSEL 1", ":VOLT?", ":CURR?", ":INST:NSEL 2",
                                          ":VOLT?", ":CURR?"}));
    } else {
      EXPECT_EQ(ReadLevels(), (std::vector<double>{5, 1, 5, 1}));
    }
    double triggered = 0;
    EXPECT_EQ(Out("Output1").get_TriggeredVoltageLevel(&triggered), S_OK);
    EXPECT_EQ(triggered, 9);
    if (!c.invalidates) { EXPECT_EQ(device->Written(), Lines{}); }
  }
}

// Simulated triggers send nothing but drop the cached levels and limits as real ones do; a
// simulated read of a dropped value no longer returns it (the out value is left at zero).
TEST_F(TriggerTest, SimulatedTriggersSendNothingAndInvalidateTheSimulatedLevels) {
  for (HRESULT (CTrigger::*fire)() :
       {&CTrigger::Abort, &CTrigger::Initiate, &CTrigger::SendSoftwareTrigger}) {
    EXPECT_EQ((trigger.*fire)(), E_IVI_NOT_INITIALIZED);
    EXPECT_EQ(ThreadErrorRecord().interfaceName, "IVelmoraQdxTrigger");
  }
  OpenSimulated();
  CVelmoraQdxOutput& output = Out("Output0");
  for (HRESULT (CTrigger::*fire)() :
       {&CTrigger::Abort, &CTrigger::SendSoftwareTrigger, &CTrigger::Initiate}) {
    const bool invalidates = fire != &CTrigger::Abort;
    ASSERT_EQ(output.put_VoltageLevel(12.5), S_OK) << LastError();
    ASSERT_EQ(output.put_CurrentLimit(1.5), S_OK) << LastError();
    EXPECT_EQ((trigger.*fire)(), S_OK) << LastError();
    double level = 0;
    double limit = 0;
    EXPECT_EQ(output.get_VoltageLevel(&level), S_OK);
    EXPECT_EQ(output.get_CurrentLimit(&limit), S_OK);
    EXPECT_EQ(level, invalidates ? 0 : 12.5);
    EXPECT_EQ(limit, invalidates ? 0 : 1.5);
  }
  EXPECT_FALSE(device->Connected());
  EXPECT_TRUE(device->Writes().empty());
}

}  // namespace
}  // namespace veqdx::dcpwr::testing
