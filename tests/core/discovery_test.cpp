// Identification, the model check, output discovery and channel selection.
#include <gtest/gtest.h>

#include <cstdio>
#include <thread>

#include "core/identification.h"
#include "io/formatted_io.h"
#include "driver_fixture.h"

namespace veqdx::testing {
namespace {

TEST(ModelCheck, PrefixAndPositiveNumber) {
  struct Case {
    const char* model;
    bool accepted;
  };
  const Case cases[] = {{"QDX750ML", true}, {"QDX1500H", true}, {"QDX1500ML", true},
                        {"QDX9", true},     {"QDX 750", true},  {"QDX0", false},
                        {"QDX-750", false}, {"XYZ750", false},  {"qdx750l", false},
                        {"QDX", false},     {"QDXL750", false}, {"", false}};
  for (const Case& c : cases) EXPECT_EQ(IsAcceptedModelName(c.model), c.accepted) << c.model;
}

TEST(Identity, ReplyFieldsAreTrimmedAndMissingOnesKept) {
  InstrumentIdentity id{"old maker", "old model", "old serial", "old firmware"};
  ParseIdentityReply(" Velmora , QDX750L ,SN1\n", id);
  EXPECT_EQ(id.manufacturer, "Velmora");
  EXPECT_EQ(id.model, "QDX750L");
  EXPECT_EQ(id.serialNumber, "SN1");
  EXPECT_EQ(id.firmwareRevision, "old firmware");
  ParseIdentityReply("A,B,C,D,E", id);
  EXPECT_EQ(id.firmwareRevision, "D");
}

TEST(Ratings, SingleUnitsByModel) {
  struct Case {
    const char* model;
    double volts;
    double amps;
  };
  const Case cases[] = {{"QDX750L", 30, 75},      {"QDX750ML", 80, 28},
                        {"QDX750MH", 230, 10},    {"QDX750H", 650, 3.5},
                        {"QDX1500H", 9999, 9999}, {"qdx750h", 9999, 9999}};
  for (const Case& c : cases) {
    const OutputRecord r = SingleUnitRating(c.model);
    EXPECT_EQ(r.maxVoltage, c.volts) << c.model;
    EXPECT_EQ(r.maxCurrent, c.amps) << c.model;
    EXPECT_EQ(r.maxPower, 750.0) << c.model;
    EXPECT_EQ(r.model, c.model);
  }
}

TEST_F(DriverOnDevice, SingleUnit) {
  ScriptSingleUnit("QDX750H");
  ASSERT_EQ(Open(), S_OK);
  EXPECT_EQ(device->Written(), (Lines{"*IDN?", "*OPT?"}));
  EXPECT_EQ(driver.OutputNames(), Lines{"Output0"});
  EXPECT_EQ(driver.OutputCount(), 1u);
  auto rating = driver.Rating(0);
  ASSERT_TRUE(rating.has_value());
  EXPECT_EQ(rating->maxCurrent, 3.5);
  EXPECT_EQ(rating->maxVoltage, 650.0);
  EXPECT_EQ(rating->model, "QDX750H");
  EXPECT_EQ(driver.Model(), "QDX750H");
  EXPECT_EQ(driver.SelectedChannel(), -1);

  auto* output = dynamic_cast<attr::CRepCap*>(driver.FindChild("Output0"));
  ASSERT_NE(output, nullptr);
  EXPECT_EQ(output->Index(), 0);
  EXPECT_EQ(output->PhysicalName(), "Output0");
}

TEST_F(DriverOnDevice, TwoChannels) {
  ScriptTwoChannels();
  ASSERT_EQ(Open(), S_OK);
  EXPECT_EQ(device->Written(), (Lines{"*IDN?", "*OPT?", ":INST:CAT?", ":INST:NSEL 1;INFO?",
                                      ":INST:NSEL 2;INFO?"}));
  EXPECT_EQ(driver.OutputNames(), (Lines{"Output1", "Output2"}));
  EXPECT_EQ(driver.FindChild("Output0"), nullptr);
  EXPECT_FALSE(driver.Rating(0).has_value());
  auto* second = dynamic_cast<attr::CRepCap*>(driver.FindChild("Output2"));
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(second->Index(), 2);
  auto rating = driver.Rating(2);
  ASSERT_TRUE(rating.has_value());
  EXPECT_EQ(rating->maxVoltage, 650.0);
  EXPECT_EQ(rating->maxCurrent, 3.5);
  EXPECT_EQ(rating->maxPower, 750.0);
  EXPECT_EQ(rating->model, "QDX750H");
  EXPECT_EQ(driver.Rating(1)->model, "QDX750ML");
}

TEST_F(DriverOnDevice, CatalogOrderNamesTheOutputs) {
  ScriptTwoChannels();
  device->OnQuery(":INST:CAT?", "2,1\n");
  ASSERT_EQ(Open(), S_OK);
  EXPECT_EQ(driver.OutputNames(), (Lines{"Output2", "Output1"}));
}

TEST_F(DriverOnDevice, ChannelsThatCannotIndexTheRecordsAreRefused) {
  for (const char* catalog : {"1;33\n", "-1\n", "2;2\n"}) {
    ScriptTwoChannels();
    device->OnQuery(":INST:CAT?", catalog);
    device->OnQuery(":INST:NSEL 33;INFO?", "1,1,1,X\n");
    EXPECT_EQ(Open(), MakeHr(0x80047059u)) << catalog;
    EXPECT_NE(LastError().find("VelmoraQdx: Unexpected response from the instrument."),
              std::string::npos);
    EXPECT_FALSE(driver.Initialized());
    EXPECT_FALSE(device->Connected()) << "a failed Initialize closes the connection";
  }
}

TEST_F(DriverOnDevice, MalformedInfoReplyFailsInitialize) {
  ScriptTwoChannels();
  device->OnQuery(":INST:NSEL 2;INFO?", "lots,of,junk\n");
  EXPECT_TRUE(Failed(Open()));
  EXPECT_FALSE(driver.Initialized());
  EXPECT_FALSE(device->Connected());
}

TEST_F(DriverOnDevice, UnrecognizedModelFailsTheIdQuery) {
  ScriptSingleUnit("qdx750l");
  EXPECT_EQ(Open(), MakeHr(0x8004705Eu));
  EXPECT_EQ(LastError(), "VelmoraQdx: Instrument ID query failed.\r\nUnrecognized model: qdx750l.");
  EXPECT_EQ(device->Written(), Lines{"*IDN?"});
  EXPECT_FALSE(driver.Initialized());
  EXPECT_FALSE(device->Connected());

  // Without the ID query the same instrument is accepted, and the object was reusable.
  device->ClearWritten();
  EXPECT_EQ(Open("", VARIANT_FALSE), S_OK);
  EXPECT_EQ(device->Written(), (Lines{"*IDN?", "*OPT?"}));
  EXPECT_EQ(driver.Rating(0)->maxCurrent, 9999.0);
}

TEST_F(DriverOnDevice, IdentificationTimeoutFailsInitialize) {
  device->TimeOutNextRead();
  device->OnQuery("*IDN?", "Velmora,QDX750H,1,1\n");
  EXPECT_EQ(Open(), MakeHr(0x80044215u));
  EXPECT_FALSE(driver.Initialized());
}

TEST_F(DriverOnDevice, SimulationUsesFixedRatingsAndSendsNothing) {
  ASSERT_EQ(Open("Simulate=true, DriverSetup=Model=QDX1500H"), S_OK);
  EXPECT_FALSE(device->Connected());
  EXPECT_TRUE(device->Written().empty());
  EXPECT_EQ(driver.Model(), "QDX1500H");
  EXPECT_EQ(driver.OutputNames(), Lines{"Output0"});
  auto rating = driver.Rating(0);
  ASSERT_TRUE(rating.has_value());
  EXPECT_EQ(rating->maxVoltage, 80.0);
  EXPECT_EQ(rating->maxCurrent, 28.0);
  EXPECT_EQ(rating->maxPower, 750.0);
  EXPECT_EQ(rating->model, "QDX750ML");
}

TEST_F(DriverOnDevice, SimulatedModelIsCheckedToo) {
  EXPECT_EQ(Open("Simulate=true, DriverSetup=Model=XYZ1"), MakeHr(0x8004705Eu));
  EXPECT_EQ(Open("Simulate=true, DriverSetup=Model=XYZ1", VARIANT_FALSE), S_OK);
}

TEST_F(DriverOnDevice, ReinitializeReplacesTheOutputs) {
  ScriptTwoChannels();
  ASSERT_EQ(Open(), S_OK);
  ASSERT_EQ(driver.Close(), S_OK);
  ScriptSingleUnit();
  ASSERT_EQ(Open(), S_OK);
  EXPECT_EQ(driver.ChildCount(), 1u);
  EXPECT_NE(driver.FindChild("Output0"), nullptr);
  EXPECT_EQ(driver.FindChild("Output1"), nullptr);
}

// ---- channel selection ----

TEST_F(DriverOnDevice, SelectionIsSentOnceWithCache) {
  ScriptTwoChannels();
  ASSERT_EQ(Open(), S_OK);
  device->ClearWritten();
  EXPECT_EQ(driver.SelectChannel(2), S_OK);
  EXPECT_EQ(driver.SelectChannel(2), S_OK);
  EXPECT_EQ(driver.SelectChannel(1), S_OK);
  EXPECT_EQ(driver.SelectChannel(2), S_OK);
  EXPECT_EQ(device->Written(), (Lines{":INST:NSEL 2", ":INST:NSEL 1", ":INST:NSEL 2"}));
}

TEST_F(DriverOnDevice, SelectionIsSentEveryTimeWithoutCache) {
  ScriptTwoChannels();
  ASSERT_EQ(Open("Cache=false"), S_OK);
  device->ClearWritten();
  EXPECT_EQ(driver.SelectChannel(2), S_OK);
  EXPECT_EQ(driver.SelectChannel(2), S_OK);
  EXPECT_EQ(device->Written(), (Lines{":INST:NSEL 2", ":INST:NSEL 2"}));
}

TEST_F(DriverOnDevice, FailedSelectionKeepsThePreviousChannel) {
  ScriptTwoChannels();
  ASSERT_EQ(Open(), S_OK);
  ASSERT_EQ(driver.SelectChannel(1), S_OK);
  device->FailNextWrite("cable pulled");
  EXPECT_EQ(driver.SelectChannel(2), MakeHr(0x80044214u));
  EXPECT_EQ(driver.SelectedChannel(), 1);
  device->ClearWritten();
  EXPECT_EQ(driver.SelectChannel(2), S_OK);
  EXPECT_EQ(device->Written(), Lines{":INST:NSEL 2"});
}

TEST_F(DriverOnDevice, SimulationRemembersTheSelectionWithoutSending) {
  ASSERT_EQ(Open("Simulate=1"), S_OK);
  EXPECT_EQ(driver.SelectChannel(2), S_OK);
  EXPECT_EQ(driver.SelectedChannel(), 2);
  EXPECT_TRUE(device->Written().empty());
}

// The selection is forgotten only at discovery: after a reset the cache rule still applies.
TEST_F(DriverOnDevice, ResetKeepsTheSelection) {
  ScriptTwoChannels();
  device->OnQuery("*RST;*OPC?", "1\n");
  ASSERT_EQ(Open(), S_OK);
  ASSERT_EQ(driver.SelectChannel(2), S_OK);
  ASSERT_EQ(driver.Reset(), S_OK);
  device->ClearWritten();
  EXPECT_EQ(driver.SelectChannel(2), S_OK);
  EXPECT_TRUE(device->Written().empty());
  EXPECT_EQ(driver.SelectChannel(1), S_OK);
  EXPECT_EQ(device->Written(), Lines{":INST:NSEL 1"});
}

}  // namespace
}  // namespace veqdx::testing

namespace veqdx::testing {
namespace {

// Two threads drive two outputs of one session. Each holds the I/O lock across its selection
// and its command, so on the wire every command follows the selection of its own channel.
TEST_F(DriverOnDevice, ConcurrentOutputsNeverSplitSelectionAndCommand) {
  ScriptTwoChannels();
  ASSERT_EQ(Open(), S_OK);
  device->ClearWritten();
  constexpr int kRounds = 300;
  HRESULT failures[3] = {S_OK, S_OK, S_OK};
  auto drive = [&](std::int32_t channel) {
    for (int i = 0; i < kRounds; ++i) {
      auto io = driver.LockIo();
      HRESULT hr = driver.SelectChannel(channel);
      if (Succeeded(hr)) hr = driver.Io().Formatted().Printf(":VOLT %d", channel);
      if (Failed(hr)) failures[channel] = hr;
    }
  };
  std::thread one(drive, 1);
  std::thread two(drive, 2);
  one.join();
  two.join();
  EXPECT_EQ(failures[1], S_OK);
  EXPECT_EQ(failures[2], S_OK);

  int selected = -1;
  int commands = 0;
  for (const std::string& line : device->Written()) {
    int n = 0;
    if (std::sscanf(line.c_str(), ":INST:NSEL %d", &n) == 1) {
      selected = n;
    } else if (std::sscanf(line.c_str(), ":VOLT %d", &n) == 1) {
      ++commands;
      ASSERT_EQ(n, selected) << "command for channel " << n << " after selecting " << selected;
    }
  }
  EXPECT_EQ(commands, 2 * kRounds);
}

}  // namespace
}  // namespace veqdx::testing
