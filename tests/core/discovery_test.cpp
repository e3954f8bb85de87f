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
  auto fields = [&] {
    return Lines{id.manufacturer, id.model, id.serialNumber, id.firmwareRevision};
  };
  ParseIdentityReply(" Velmora , QDX750L ,SN1\n", id);
  EXPECT_EQ(fields(), (Lines{"Velmora", "QDX750L", "SN1", "old firmware"}));
  ParseIdentityReply("A,B,C,D,E", id);
  EXPECT_EQ(fields(), (Lines{"A", "B", "C", "D"}));
}

TEST(Ratings, SingleUnitsByModel) {
  const std::pair<const char*, const char*> cases[] = {
      {"QDX750L", "30,75,750,QDX750L"},       {"QDX750ML", "80,28,750,QDX750ML"},
      {"QDX750MH", "230,10,750,QDX750MH"},    {"QDX750H", "650,3.5,750,QDX750H"},
      {"QDX1500H", "9999,9999,750,QDX1500H"}, {"qdx750h", "9999,9999,750,qdx750h"}};
  for (const auto& [model, rating] : cases) EXPECT_EQ(Describe(SingleUnitRating(model)), rating);
}

TEST_F(DriverOnDevice, SingleUnit) {
  ScriptSingleUnit(*device, "QDX750H");
  ASSERT_EQ(Open(), S_OK);
  EXPECT_EQ(device->Written(), (Lines{"*IDN?", "*OPT?"}));
  EXPECT_EQ(driver.OutputNames(), Lines{"Output0"});
  EXPECT_EQ(driver.OutputCount(), 1u);
  EXPECT_EQ(Describe(driver.Rating(0)), "650,3.5,750,QDX750H");
  EXPECT_EQ(driver.Model(), "QDX750H");
  EXPECT_EQ(driver.SelectedChannel(), -1);
  auto* output = dynamic_cast<attr::CRepCap*>(driver.FindChild("Output0"));
  ASSERT_NE(output, nullptr);
  EXPECT_EQ(output->Index(), 0);
  EXPECT_EQ(output->PhysicalName(), "Output0");
}

// Two channels in catalog order, then the same object opened again on other configurations.
TEST_F(DriverOnDevice, TwoChannelsAndReinitialize) {
  ScriptTwoChannels(*device);
  ASSERT_EQ(Open(), S_OK);
  EXPECT_EQ(device->Written(), (Lines{"*IDN?", "*OPT?", ":INST:CAT?", ":INST:NSEL 1;INFO?",
                                      ":INST:NSEL 2;INFO?"}));
  EXPECT_EQ(driver.OutputNames(), (Lines{"Output1", "Output2"}));
  EXPECT_EQ(driver.FindChild("Output0"), nullptr);
  EXPECT_EQ(Describe(driver.Rating(0)), "none");
  EXPECT_EQ(Describe(driver.Rating(1)), "80,28,750,QDX750ML");
  EXPECT_EQ(Describe(driver.Rating(2)), "650,3.5,750,QDX750H");
  auto* second = dynamic_cast<attr::CRepCap*>(driver.FindChild("Output2"));
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(second->Index(), 2);

  ASSERT_EQ(driver.Close(), S_OK);
  device->OnQuery(":INST:CAT?", "2,1\n");  // the catalog order names the outputs
  ASSERT_EQ(Open(), S_OK);
  EXPECT_EQ(driver.OutputNames(), (Lines{"Output2", "Output1"}));

  ASSERT_EQ(driver.Close(), S_OK);
  ScriptSingleUnit(*device);  // the outputs are replaced
  ASSERT_EQ(Open(), S_OK);
  EXPECT_EQ(driver.ChildCount(), 1u);
  EXPECT_NE(driver.FindChild("Output0"), nullptr);
  EXPECT_EQ(driver.FindChild("Output1"), nullptr);
}

// Every failed Initialize leaves the object uninitialized and closes the connection.
TEST_F(DriverOnDevice, BadDiscoveryRepliesFailInitialize) {
  struct Case {
    const char* catalog;  // nullptr: a single unit whose identification times out
    const char* info2;    // the INFO reply of channel 2
    HRESULT hr;
    const char* message;  // part of the description
  };
  const char* const kInfo = "650,3.5,750,QDX750H\n";
  const char* const kUnexpected = "VelmoraQdx: Unexpected response from the instrument.";
  const Case cases[] = {
      {"1;33\n", kInfo, MakeHr(0x80047059u), kUnexpected},  // beyond the records
      {"-1\n", kInfo, MakeHr(0x80047059u), kUnexpected},
      {"2;2\n", kInfo, MakeHr(0x80047059u), kUnexpected},    // listed twice
      {"1;2\n", "lots,of,junk\n", MakeHr(0x80044214u),
       "Unexpected response for read format \"%lf,%lf,%lf,%$C[^\\n]\": expected a number after 0 "
       "characters, found 'l'"},
      {nullptr, kInfo, MakeHr(0x80044215u), "I/O timeout error"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.catalog ? c.catalog : "timeout");
    ScriptTwoChannels(*device);
    if (c.catalog) {
      device->OnQuery(":INST:CAT?", c.catalog);
      device->OnQuery(":INST:NSEL 2;INFO?", c.info2);
      device->OnQuery(":INST:NSEL 33;INFO?", "1,1,1,X\n");
    } else {
      ScriptSingleUnit(*device);
      device->TimeOutNextRead();
    }
    EXPECT_EQ(Open(), c.hr);
    EXPECT_NE(LastError().find(c.message), std::string::npos) << LastError();
    EXPECT_FALSE(driver.Initialized());
    EXPECT_FALSE(device->Connected());
  }
}

TEST_F(DriverOnDevice, UnrecognizedModelFailsTheIdQuery) {
  ScriptSingleUnit(*device, "qdx750l");
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

TEST_F(DriverOnDevice, SimulationUsesFixedRatingsAndSendsNothing) {
  ASSERT_EQ(Open("Simulate=true, DriverSetup=Model=QDX1500H"), S_OK);
  EXPECT_EQ(driver.Model(), "QDX1500H");
  EXPECT_EQ(driver.OutputNames(), Lines{"Output0"});
  EXPECT_EQ(Describe(driver.Rating(0)), "80,28,750,QDX750ML");
  EXPECT_EQ(driver.SelectChannel(2), S_OK);  // remembered, not sent
  EXPECT_EQ(driver.SelectedChannel(), 2);
  EXPECT_FALSE(device->Connected());
  EXPECT_TRUE(device->Written().empty());
  ASSERT_EQ(driver.Close(), S_OK);
  // The simulated model is checked too.
  EXPECT_EQ(Open("Simulate=true, DriverSetup=Model=XYZ1"), MakeHr(0x8004705Eu));
  EXPECT_EQ(Open("Simulate=true, DriverSetup=Model=XYZ1", VARIANT_FALSE), S_OK);
}

// ---- channel selection ----

TEST_F(DriverOnDevice, SelectionIsSentOnceWithCacheAndEveryTimeWithout) {
  ScriptTwoChannels(*device);
  const std::pair<const char*, Lines> cases[] = {
      {"", {":INST:NSEL 2", ":INST:NSEL 1", ":INST:NSEL 2"}},
      {"Cache=false", {":INST:NSEL 2", ":INST:NSEL 2", ":INST:NSEL 1", ":INST:NSEL 2"}},
  };
  for (const auto& [options, wire] : cases) {
    ASSERT_EQ(Open(options), S_OK);
    device->ClearWritten();
    for (int channel : {2, 2, 1, 2}) EXPECT_EQ(driver.SelectChannel(channel), S_OK);
    EXPECT_EQ(device->Written(), wire) << options;
    ASSERT_EQ(driver.Close(), S_OK);
  }
}

TEST_F(DriverOnDevice, FailedSelectionKeepsThePreviousChannel) {
  ScriptTwoChannels(*device);
  ASSERT_EQ(Open(), S_OK);
  ASSERT_EQ(driver.SelectChannel(1), S_OK);
  device->FailNextWrite("cable pulled");
  EXPECT_EQ(driver.SelectChannel(2), MakeHr(0x80044214u));
  EXPECT_EQ(driver.SelectedChannel(), 1);
  device->ClearWritten();
  EXPECT_EQ(driver.SelectChannel(2), S_OK);
  EXPECT_EQ(device->Written(), Lines{":INST:NSEL 2"});
}

// The selection is forgotten only at discovery: after a reset the cache rule still applies.
TEST_F(DriverOnDevice, ResetKeepsTheSelection) {
  ScriptTwoChannels(*device);
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

// Two threads drive two outputs of one session. Each holds the I/O lock across its selection
// and its command, so on the wire every command follows the selection of its own channel.
TEST_F(DriverOnDevice, ConcurrentOutputsNeverSplitSelectionAndCommand) {
  ScriptTwoChannels(*device);
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
