// Identification, the model check, output discovery and channel selection.
#include <gtest/gtest.h>

#include "core/identification.h"
#include "driver_fixture.h"

namespace veqdx::testing {
namespace {

TEST(Identification, ModelCheckReplyFieldsAndRatings) {
  const std::pair<const char*, bool> models[] = {
      {"QDX750ML", true}, {"QDX9", true},     {"QDX 750", true}, {"QDX0", false},
      {"QDX-750", false}, {"XYZ750", false},  {"qdx750l", false}, {"QDX", false},
      {"QDXL750", false}, {"", false}};
  for (const auto& [model, accepted] : models) EXPECT_EQ(IsAcceptedModelName(model), accepted) << model;

  InstrumentIdentity id{"old maker", "old model", "old serial", "old firmware"};
  auto fields = [&] { return Lines{id.manufacturer, id.model, id.serialNumber, id.firmwareRevision}; };
  ParseIdentityReply(" Velmora , QDX750L ,SN1\n", id);  // trimmed; a missing field is kept
  EXPECT_EQ(fields(), (Lines{"Velmora", "QDX750L", "SN1", "old firmware"}));
  ParseIdentityReply("A,B,C,D,E", id);
  EXPECT_EQ(fields(), (Lines{"A", "B", "C", "D"}));

  const std::pair<const char*, const char*> ratings[] = {
      {"QDX750L", "30,75,750,QDX750L"},       {"QDX750ML", "80,28,750,QDX750ML"},
      {"QDX750MH", "230,10,750,QDX750MH"},    {"QDX750H", "650,3.5,750,QDX750H"},
      {"QDX1500H", "9999,9999,750,QDX1500H"}, {"qdx750h", "9999,9999,750,qdx750h"}};
  for (const auto& [model, rating] : ratings) EXPECT_EQ(Describe(SingleUnitRating(model)), rating);
}

// A single unit, two channels in catalog order, then the same object opened again on other
// configurations: the outputs are replaced each time.
TEST_F(DriverOnDevice, DiscoveryAndReinitialize) {
  ScriptSingleUnit(*device, "QDX750H");
  ASSERT_EQ(Open(), S_OK);
  EXPECT_EQ(device->Written(), (Lines{"*IDN?", "*OPT?"}));
  EXPECT_EQ(driver.OutputNames(), Lines{"Output0"});
  EXPECT_EQ(Describe(driver.Rating(0)), "650,3.5,750,QDX750H");
  EXPECT_EQ(driver.SelectedChannel(), -1);
  auto* output = dynamic_cast<attr::CRepCap*>(driver.FindChild("Output0"));
  ASSERT_NE(output, nullptr);
  EXPECT_EQ(output->Index(), 0);

  ASSERT_EQ(driver.Close(), S_OK);
  device->ClearWritten();
  ScriptTwoChannels(*device);
  ASSERT_EQ(Open(), S_OK);
  EXPECT_EQ(device->Written(), (Lines{"*IDN?", "*OPT?", ":INST:CAT?", ":INST:NSEL 1;INFO?",
                                      ":INST:NSEL 2;INFO?"}));
  EXPECT_EQ(driver.OutputNames(), (Lines{"Output1", "Output2"}));
  EXPECT_EQ(driver.FindChild("Output0"), nullptr);
  EXPECT_EQ(Describe(driver.Rating(0)), "none");
  EXPECT_EQ(Describe(driver.Rating(1)), "80,28,750,QDX750ML");
  EXPECT_EQ(dynamic_cast<attr::CRepCap*>(driver.FindChild("Output2"))->Index(), 2);

  ASSERT_EQ(driver.Close(), S_OK);
  device->OnQuery(":INST:CAT?", "2,1\n");  // the catalog order names the outputs
  ASSERT_EQ(Open(), S_OK);
  EXPECT_EQ(driver.OutputNames(), (Lines{"Output2", "Output1"}));
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
      {"1;33\n", kInfo, E_IVI_UNEXPECTED_RESPONSE, kUnexpected},  // beyond the records
      {"-1\n", kInfo, E_IVI_UNEXPECTED_RESPONSE, kUnexpected},
      {"2;2\n", kInfo, E_IVI_UNEXPECTED_RESPONSE, kUnexpected},  // listed twice
      {"1;2\n", "lots,of,junk\n", E_VELMORAQDX_IO_GENERAL,
       "Unexpected response for read format \"%lf,%lf,%lf,%$C[^\\n]\": expected a number after 0 "
       "characters, found 'l'"},
      {nullptr, kInfo, E_VELMORAQDX_IO_TIMEOUT, "I/O timeout error"},
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

// An unrecognized model fails the ID query (its message: tests/capi) but is accepted without
// it, on a device and when simulated.
TEST_F(DriverOnDevice, ModelCheckOnlyWithTheIdQuery) {
  ScriptSingleUnit(*device, "qdx750l");
  EXPECT_EQ(Open(), E_IVI_ID_QUERY_FAILED);
  EXPECT_EQ(device->Written(), Lines{"*IDN?"});
  EXPECT_FALSE(device->Connected());
  EXPECT_EQ(Open("", VARIANT_FALSE), S_OK);
  EXPECT_EQ(driver.Rating(0)->maxCurrent, 9999.0);
  ASSERT_EQ(driver.Close(), S_OK);

  device->ClearWritten();
  ASSERT_EQ(Open("Simulate=true, DriverSetup=Model=QDX1500H"), S_OK);
  EXPECT_EQ(driver.Model(), "QDX1500H");
  EXPECT_EQ(Describe(driver.Rating(0)), "80,28,750,QDX750ML");
  EXPECT_EQ(driver.SelectChannel(2), S_OK);  // remembered, not sent
  EXPECT_EQ(driver.SelectedChannel(), 2);
  EXPECT_TRUE(device->Written().empty());
  ASSERT_EQ(driver.Close(), S_OK);
  EXPECT_EQ(Open("Simulate=true, DriverSetup=Model=XYZ1"), E_IVI_ID_QUERY_FAILED);
  EXPECT_EQ(Open("Simulate=true, DriverSetup=Model=XYZ1", VARIANT_FALSE), S_OK);
}

// With the cache the selection is sent only when it changes, also across a reset (it is
// forgotten only at discovery); a failed selection keeps the previous channel.
TEST_F(DriverOnDevice, ChannelSelection) {
  ScriptTwoChannels(*device);
  device->OnQuery("*RST;*OPC?", "1\n");
  const std::pair<const char*, Lines> cases[] = {
      {"", {":INST:NSEL 2", ":INST:NSEL 1", ":INST:NSEL 2", "*RST;*OPC?"}},
      {"Cache=false",
       {":INST:NSEL 2", ":INST:NSEL 2", ":INST:NSEL 1", ":INST:NSEL 2", "*RST;*OPC?", ":INST:NSEL 2"}},
  };
  for (const auto& [options, wire] : cases) {
    ASSERT_EQ(Open(options), S_OK);
    device->ClearWritten();
    for (int channel : {2, 2, 1, 2}) EXPECT_EQ(driver.SelectChannel(channel), S_OK);
    ASSERT_EQ(driver.Reset(), S_OK);
    EXPECT_EQ(driver.SelectChannel(2), S_OK);
    EXPECT_EQ(device->Written(), wire) << options;
    ASSERT_EQ(driver.Close(), S_OK);
  }
  ASSERT_EQ(Open(), S_OK);
  ASSERT_EQ(driver.SelectChannel(1), S_OK);
  device->FailNextWrite("cable pulled");
  EXPECT_EQ(driver.SelectChannel(2), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(driver.SelectedChannel(), 1);
  device->ClearWritten();
  EXPECT_EQ(driver.SelectChannel(2), S_OK);
  EXPECT_EQ(device->Written(), Lines{":INST:NSEL 2"});
}

}  // namespace
}  // namespace veqdx::testing
