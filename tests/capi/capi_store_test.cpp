// The configuration store file: names as resources, the option string winning, failures.
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "capi_fixture.h"

namespace capi_test {
namespace {

// A store with one module of ours, one of another driver (its entries must be left alone) and
// `session` (a DriverSession element, or anything else) spliced in.
std::string Store(const std::string& session, const std::string& module = "veqdx") {
  return R"(<?xml version="1.0" encoding="UTF-8"?>
<IviConfigStore version="1">
  <SoftwareModules>
    <SoftwareModule name="VelmoraQdx" prefix=")" + module + R"(" modulePath="libveqdx.so.1">
      <ConfigurableInitialSettings>
        <Setting name="VEQDX_ATTR_OVP_LIMIT" repCap="Output0" type="Real">31.0</Setting>
      </ConfigurableInitialSettings>
    </SoftwareModule>
    <SoftwareModule name="OtherDmm" prefix="otdmm"><Vendor>Other</Vendor></SoftwareModule>
  </SoftwareModules>
  <HardwareAssets><HardwareAsset name="Other" resource="GPIB0::3::INSTR" extra="x"/></HardwareAssets>
  <DriverSessions>
    <DriverSession name="DMM1" softwareModule="OtherDmm" hardwareAsset="Other" cache="maybe"/>
)" + session + R"(
  </DriverSessions>
  <LogicalNames><LogicalName name="MainSupply" session="PSU1"/><LogicalName name="Meter" session="DMM1"/></LogicalNames>
</IviConfigStore>
)";
}

std::string Session(const std::string& attributes, const std::string& settings = "") {
  return R"(<DriverSession name="PSU1" softwareModule="VelmoraQdx" )" + attributes +
         "><ConfigurableInitialSettings>" + settings +
         R"(<Setting name="Vendor" type="APIReference">x</Setting></ConfigurableInitialSettings>
    </DriverSession>)";
}

class StoreFile : public testing::Test {
 protected:
  void Write(const std::string& text) {
    std::ofstream(path) << text;
    setenv("IVI_CONFIG_STORE", path.c_str(), 1);
  }
  void TearDown() override {
    if (vi != VI_NULL) veqdx_close(vi);
    unsetenv("IVI_CONFIG_STORE");
    std::remove(path.c_str());
  }
  std::string Attribute(ViAttr id) {
    ViChar text[256] = "";
    EXPECT_EQ(veqdx_GetAttributeViString(vi, "", id, sizeof text, text), VI_SUCCESS);
    return text;
  }
  double Real(ViAttr id) {
    ViReal64 v = -1;
    EXPECT_EQ(veqdx_GetAttributeViReal64(vi, "Output0", id, &v), VI_SUCCESS);
    return v;
  }
  const std::string path = testing::TempDir() + "store_" + std::to_string(getpid()) + ".xml";
  ViSession vi = VI_NULL;
};

// A simulated session by logical name and by session name: the store's settings, then the
// option string over them, then the initial settings (module's first) through the setters.
TEST_F(StoreFile, LogicalNameOpensTheSessionAndTheOptionStringWins) {
  Write(Store(Session(
      R"(resource="TCPIP::10.9.9.9::INSTR" simulate="TRUE" cache="0" rangeCheck="false")",
      R"(<Setting type="Structure" name="s"><Setting name="1250001" repCap="Output0" type="Real">5</Setting></Setting>
         <Setting name="VEQDX_ATTR_OUTPUT_ENABLED" type="Boolean">true</Setting>)")));
  for (const char* name : {"MainSupply", "PSU1"}) {
    SCOPED_TRACE(name);
    ASSERT_EQ(veqdx_InitWithOptions(name, VI_FALSE, VI_FALSE, "Cache=1", &vi), VI_SUCCESS)
        << LastError(VI_NULL).text;
    EXPECT_EQ(Attribute(VEQDX_ATTR_LOGICAL_NAME), name);
    EXPECT_EQ(Attribute(VEQDX_ATTR_IO_RESOURCE_DESCRIPTOR), "TCPIP::10.9.9.9::INSTR");
    ViBoolean cache = 0, rangeCheck = 1, enabled = 0;
    veqdx_GetAttributeViBoolean(vi, "", VEQDX_ATTR_CACHE, &cache);
    veqdx_GetAttributeViBoolean(vi, "", VEQDX_ATTR_RANGE_CHECK, &rangeCheck);
    veqdx_GetAttributeViBoolean(vi, "Output0", VEQDX_ATTR_OUTPUT_ENABLED, &enabled);
    EXPECT_EQ(cache, VI_TRUE);
    EXPECT_EQ(rangeCheck, VI_FALSE);
    EXPECT_EQ(enabled, VI_TRUE);
    EXPECT_EQ(Real(VEQDX_ATTR_OVP_LIMIT), 31.0);
    EXPECT_EQ(Real(VEQDX_ATTR_VOLTAGE_LEVEL), 5.0);
    veqdx_close(vi);
    vi = VI_NULL;
  }
  // The example store opens its offline session as it says.
  setenv("IVI_CONFIG_STORE", VEQDX_EXAMPLE_STORE, 1);
  ASSERT_EQ(veqdx_InitWithOptions("MainSupplyOffline", VI_FALSE, VI_FALSE, "", &vi), VI_SUCCESS)
      << LastError(VI_NULL).text;
  EXPECT_EQ(Real(VEQDX_ATTR_OVP_LIMIT), 31.0);
  veqdx_close(vi);
  // A name the store does not hold is an address.
  ASSERT_EQ(veqdx_InitWithOptions("Bench9", VI_FALSE, VI_FALSE, "Simulate=1", &vi), VI_SUCCESS);
  EXPECT_EQ(Attribute(VEQDX_ATTR_LOGICAL_NAME), "");
  EXPECT_EQ(Attribute(VEQDX_ATTR_IO_RESOURCE_DESCRIPTOR), "Bench9");
}

TEST_F(StoreFile, InitialSettingsGoOnTheWireAfterDiscovery) {
  Sim sim({}, "QDX750L");
  ASSERT_TRUE(sim.started) << sim.error;
  Write(Store(Session("resource=\"" + sim.Resource() + "\"",
                      R"(<Setting name="VEQDX_ATTR_CURRENT_LIMIT_BEHAVIOR" repCap="Output0" type="Integer">1</Setting>)")));
  ASSERT_EQ(veqdx_InitWithOptions("MainSupply", VI_TRUE, VI_FALSE, "", &vi), VI_SUCCESS)
      << LastError(VI_NULL).text;
  const Lines wire = sim.Transcript(5);
  ASSERT_GE(wire.size(), 3u);
  EXPECT_EQ(Lines(wire.end() - 3, wire.end()),
            (Lines{":INST:NSEL 0", ":VOLT:PROT 31", ":CURR:PROT:STAT 1"}));
}

// Each failure: its status, no session, and a description naming the file and what is wrong.
TEST_F(StoreFile, EveryFailureNamesTheFileAndTheCause) {
  const std::string okSession = Session(R"(simulate="true")");
  const struct {
    std::string text;
    const char* resource;
    ViStatus status;
    std::string mentions;
  } rows[] = {
      {"<IviConfigStore>\n<DriverSessions>\n<oops</IviConfigStore>", "PSU1",
       VEQDX_ERROR_INVALID_FILE_FORMAT, "line 3"},
      {"<?xml version=\"1.0\"?>\n<Other/>", "PSU1", VEQDX_ERROR_INVALID_FILE_FORMAT,
       "line 1: the root element is not IviConfigStore"},
      {"", nullptr, VEQDX_ERROR_CANNOT_OPEN_FILE, "is a directory"},
      {Store(Session(R"(simulate="yes")")), "PSU1", VEQDX_ERROR_INVALID_FILE_FORMAT,
       "attribute simulate of session \"PSU1\" is \"yes\""},
      {Store(Session(R"(simulate="1" hardwareAsset="Nowhere")")), "MainSupply",
       VEQDX_ERROR_INVALID_FILE_FORMAT, "hardware asset \"Nowhere\""},
      {Store(""), "MainSupply", VEQDX_ERROR_INVALID_FILE_FORMAT,
       "names the driver session \"PSU1\", which the file does not hold"},
      {Store(okSession, "other"), "PSU1", VEQDX_ERROR_CANNOT_RECOVER,
       "\r\nSoftware module could not be loaded from the IVI Configuration Store.\r\n"},
      {Store(okSession), "Meter", VEQDX_ERROR_CANNOT_RECOVER, "\"Meter\""},
      {Store(Session(R"(simulate="1")", R"(<Setting name="VEQDX_ATTR_NOPE" type="Real">1</Setting>)")),
       "PSU1", VEQDX_ERROR_ATTRIBUTE_NOT_SUPPORTED,
       "Configurable initial setting VEQDX_ATTR_NOPE = \"1\" in "},
      {Store(Session(R"(simulate="1")", R"(<Setting name="VEQDX_ATTR_VOLTAGE_LEVEL" repCap="Output0" type="Boolean">true</Setting>)")),
       "PSU1", VEQDX_ERROR_INVALID_VALUE, "VEQDX_ATTR_VOLTAGE_LEVEL (Output0)"},
      {Store(Session(R"(simulate="1")", R"(<Setting name="VEQDX_ATTR_VOLTAGE_LEVEL" repCap="Output7" type="Real">1</Setting>)")),
       "PSU1", VEQDX_ERROR_UNKNOWN_CHANNEL_NAME, "(Output7)"},
      {Store(Session(R"(simulate="1")", R"(<Setting name="VEQDX_ATTR_VOLTAGE_LEVEL" repCap="Output0" type="Real">1e6</Setting>)")),
       "PSU1", VEQDX_ERROR_INVALID_VALUE, ", line 14."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.mentions);
    if (row.resource == nullptr) {
      setenv("IVI_CONFIG_STORE", testing::TempDir().c_str(), 1);
    } else {
      Write(row.text);
    }
    ViSession session = 77;
    EXPECT_EQ(veqdx_InitWithOptions(row.resource ? row.resource : "PSU1", VI_FALSE, VI_FALSE, "",
                                    &session),
              row.status);
    EXPECT_EQ(session, VI_NULL);
    const Recorded e = LastError(VI_NULL);
    EXPECT_EQ(e.code, row.status);
    EXPECT_NE(e.text.find(row.resource ? path : testing::TempDir()), std::string::npos) << e.text;
    EXPECT_NE(e.text.find(row.mentions), std::string::npos) << e.text;
  }
}

}  // namespace
}  // namespace capi_test
