// Initialize and Close, the inherent settings and the instrument status check.
#include <gtest/gtest.h>

#include "driver_fixture.h"
#include "dcpwr/output_factory.h"

namespace veqdx::testing {
namespace {

TEST(Session, SimulatedInitializeAndClose) {
  CVelmoraQdx d{dcpwr::CreateOutput};
  EXPECT_EQ(d.Close(), MakeHr(0x8004701Du));  // never initialized
  EXPECT_EQ(Get(d, &CDriver::get_Initialized), VARIANT_FALSE);
  ASSERT_EQ(d.Initialize("GPIB0::5::INSTR", VARIANT_FALSE, VARIANT_FALSE, "Simulate=true"), S_OK);
  EXPECT_EQ(Get(d, &CDriver::get_Initialized), VARIANT_TRUE);
  EXPECT_EQ(Get(d, &CDriver::get_Simulate), VARIANT_TRUE);
  EXPECT_EQ(d.Model(), "QDX750ML");
  EXPECT_EQ(Get(d, &CDriver::get_IoResourceDescriptor), "GPIB0::5::INSTR");
  EXPECT_EQ(Get(d, &CDriver::get_LogicalName), "");
  attr::CNode* output = d.FindChild("Output0");
  ASSERT_NE(output, nullptr);
  EXPECT_TRUE(output->IsInitialized());
  EXPECT_TRUE(output->GetSimulate());

  ASSERT_EQ(d.Close(), S_OK);
  EXPECT_EQ(Get(d, &CDriver::get_Initialized), VARIANT_FALSE);
  EXPECT_FALSE(output->IsInitialized());  // Close detaches the outputs
  EXPECT_FALSE(output->GetSimulate());
  EXPECT_EQ(d.Close(), MakeHr(0x8004701Du));
  EXPECT_EQ(LastError(),
            "VelmoraQdx: A connection to the instrument has not been established.\r\n");
}

TEST(Session, SecondInitializeLeavesFirstSessionIntact) {
  CVelmoraQdx d{dcpwr::CreateOutput};
  ASSERT_EQ(OpenSimulated(d, "Simulate=1, RangeCheck=0, DriverSetup=Model=QDX750L"), S_OK);
  EXPECT_EQ(d.Initialize("B", VARIANT_FALSE, VARIANT_FALSE,
                         "Simulate=1, RangeCheck=1, DriverSetup=Model=QDX1500H"),
            MakeHr(0x80047061u));
  EXPECT_EQ(LastError(), "VelmoraQdx: The driver is already initialized.\r\n");
  EXPECT_EQ(Get(d, &CDriver::get_Initialized), VARIANT_TRUE);
  EXPECT_EQ(Get(d, &CDriver::get_RangeCheck), VARIANT_FALSE);
  EXPECT_EQ(d.Model(), "QDX750L");
  EXPECT_EQ(Get(d, &CDriver::get_IoResourceDescriptor), "A");
  EXPECT_EQ(d.OutputNames(), Lines{"Output0"});
}

TEST(Session, FailedInitializeLeavesObjectReusableAndEachStartsFromDefaults) {
  CVelmoraQdx d{dcpwr::CreateOutput};
  EXPECT_EQ(OpenSimulated(d, "Simulate=yes"), MakeHr(0x8004704Cu));
  EXPECT_EQ(Get(d, &CDriver::get_Initialized), VARIANT_FALSE);
  EXPECT_EQ(d.Initialize(nullptr, VARIANT_FALSE, VARIANT_FALSE, "Simulate=1"),
            MakeHr(0x80047010u));
  EXPECT_NE(LastError().find("method Initialize, parameter ResourceName"), std::string::npos);
  ASSERT_EQ(OpenSimulated(d, "Simulate=1, Cache=0, QueryInstrStatus=1, DriverSetup=Model=QDX750L"),
            S_OK);
  EXPECT_EQ(Get(d, &CDriver::get_Initialized), VARIANT_TRUE);
  ASSERT_EQ(d.Close(), S_OK);
  ASSERT_EQ(OpenSimulated(d), S_OK);
  EXPECT_EQ(Get(d, &CDriver::get_Cache), VARIANT_TRUE);
  EXPECT_EQ(Get(d, &CDriver::get_QueryInstrumentStatus), VARIANT_FALSE);
  EXPECT_EQ(Get(d, &CDriver::get_InterchangeCheck), VARIANT_FALSE);
  EXPECT_EQ(Get(d, &CDriver::get_RecordCoercions), VARIANT_FALSE);
  EXPECT_EQ(Get(d, &CDriver::get_DriverSetup), "");
}

// A simulated session stays simulated; a real one can switch either way.
TEST_F(DriverOnDevice, SimulationSwitch) {
  CVelmoraQdx simulated{dcpwr::CreateOutput};
  ASSERT_EQ(veqdx::testing::OpenSimulated(simulated, "Simulate=true"), S_OK);
  EXPECT_EQ(simulated.put_Simulate(VARIANT_FALSE), MakeHr(0x80047062u));
  EXPECT_EQ(LastError(), "VelmoraQdx: The simulation state cannot be changed.\r\n");
  EXPECT_TRUE(simulated.Simulate());
  EXPECT_EQ(simulated.put_Simulate(VARIANT_TRUE), S_OK);

  ScriptSingleUnit(*device);
  ASSERT_EQ(Open(), S_OK);
  EXPECT_EQ(driver.put_Simulate(VARIANT_TRUE), S_OK);
  EXPECT_TRUE(driver.Simulate());
  EXPECT_EQ(driver.put_Simulate(VARIANT_FALSE), S_OK);
  EXPECT_FALSE(driver.Simulate());
}

TEST(Session, UnsupportedFeaturesAndNullPointersAreRefused) {
  CVelmoraQdx d{dcpwr::CreateOutput};
  EXPECT_EQ(d.put_InterchangeCheck(VARIANT_TRUE), MakeHr(0x80047013u));
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Does not support this class-compliant feature: (enumeration) value "
            "VARIANT_TRUE passed as the value for parameter val in method put_InterchangeCheck."
            "\r\n");
  EXPECT_EQ(ThreadErrorRecord().interfaceName, "IIviDriverOperation");
  EXPECT_EQ(d.put_InterchangeCheck(VARIANT_FALSE), S_OK);

  EXPECT_EQ(OpenSimulated(d, "Simulate=1, InterchangeCheck=true"), MakeHr(0x8004704Cu));
  EXPECT_EQ(LastError(),
            "VelmoraQdx: The True value in the option string is unknown.\r\n"
            "Interchange checking is not supported by the driver.");
  EXPECT_EQ(Get(d, &CDriver::get_Initialized), VARIANT_FALSE);

  const std::pair<HRESULT (CDriver::*)(VARIANT_BOOL*), const char*> getters[] = {
      {&CDriver::get_Cache, "get_Cache"},
      {&CDriver::get_QueryInstrumentStatus, "get_QueryInstrumentStatus"},
      {&CDriver::get_RangeCheck, "get_RangeCheck"},
      {&CDriver::get_RecordCoercions, "get_RecordCoercions"},
      {&CDriver::get_Simulate, "get_Simulate"},
  };
  for (const auto& [getter, name] : getters) {
    EXPECT_EQ((d.*getter)(nullptr), MakeHr(0x80047058u));
    EXPECT_EQ(LastError(), "VelmoraQdx: Null pointer passed for method " + std::string(name) +
                               ", parameter val.\r\n");
  }
  EXPECT_EQ(d.LockObject(), MakeHr(0x80047011u));
  EXPECT_EQ(LastError(), "VelmoraQdx: Does not support this class-compliant feature: method "
                         "LockObject.\r\n");
  EXPECT_EQ(ThreadErrorRecord().interfaceName, "IIviDriverUtility");
  EXPECT_EQ(d.UnlockObject(), MakeHr(0x80047011u));
  EXPECT_NE(LastError().find("method UnlockObject."), std::string::npos);
}

TEST(Session, InvalidateAllAttributesReachesEveryNode) {
  CVelmoraQdx d{dcpwr::CreateOutput};
  EXPECT_EQ(d.InvalidateAllAttributes(), MakeHr(0x8004701Du));
  ASSERT_EQ(OpenSimulated(d), S_OK);
  attr::CNode* output = d.FindChild("Output0");
  ASSERT_NE(output, nullptr);
  auto* rootEntry = d.GetCacheEntry<std::int16_t>("IVelmoraQdxStatusOperation.EnableRegister");
  auto* outputEntry = output->GetCacheEntry<double>("IVelmoraQdxOutput.VoltageLevel");
  rootEntry->Set(5);
  outputEntry->Set(12.5);
  ASSERT_EQ(d.InvalidateAllAttributes(), S_OK);
  EXPECT_FALSE(rootEntry->IsValid());
  EXPECT_FALSE(outputEntry->IsValid());
}

TEST_F(DriverOnDevice, DriverSetupItemsReachTheTransport) {
  io::TransportOptions seen;
  std::string seenResource;
  driver.SetTransportFactory([&](std::string_view resource, const io::TransportOptions& options,
                                 io::IoResult&) {
    seen = options;
    seenResource = resource;
    return device->Connect();
  });
  ScriptSingleUnit(*device);
  ASSERT_EQ(Open("DriverSetup=IoBackend=Socket, BaudRate=9600"), S_OK);
  EXPECT_EQ(seenResource, "TCPIP::10.1.2.3::INSTR");
  EXPECT_EQ(seen.Get("iobackend"), "Socket");
  EXPECT_EQ(seen.Get("baudrate"), "9600");
  EXPECT_EQ(driver.DriverSetupItem("IOBACKEND"), "Socket");
  EXPECT_EQ(driver.DriverSetupItems().size(), 2u);
}

TEST_F(DriverOnDevice, TransportThatCannotBeMadeFailsTheOpen) {
  driver.SetTransportFactory([](std::string_view, const io::TransportOptions&, io::IoResult& r) {
    r = io::IoResult::Error("connect to 10.1.2.3:5025 refused");
    return std::unique_ptr<io::ITransport>();
  });
  EXPECT_EQ(Open(), MakeHr(0x80044214u));
  EXPECT_EQ(LastError(), "VelmoraQdx: I/O error: Failed to open VISA resource..\r\n"
                         "Resource descriptor = TCPIP::10.1.2.3::INSTR. "
                         "Cause: connect to 10.1.2.3:5025 refused.");
  EXPECT_FALSE(driver.Initialized());
}

TEST(Session, ConfigStoreSessionSuppliesTheAddress) {
  class Store : public IConfigStore {
   public:
    HRESULT FindDriverSession(std::string_view name, const CErrorReporter&,
                              ConfigStoreSession& out, bool& found) override {
      found = name == "Bench3";
      if (!found) return S_OK;
      out.hardwareResource = "TCPIP::10.9.9.9::INSTR";
      out.settings.simulate = true;
      out.settings.rangeCheck = false;
      return S_OK;
    }
  };
  CVelmoraQdx d{dcpwr::CreateOutput};
  d.SetConfigStore(std::make_shared<Store>());
  ASSERT_EQ(d.Initialize("Bench3", VARIANT_FALSE, VARIANT_FALSE, "RangeCheck=1"), S_OK);
  EXPECT_EQ(Get(d, &CDriver::get_LogicalName), "Bench3");
  EXPECT_EQ(Get(d, &CDriver::get_IoResourceDescriptor), "TCPIP::10.9.9.9::INSTR");
  EXPECT_TRUE(d.Simulate());
  EXPECT_TRUE(d.RangeCheck());
  EXPECT_TRUE(d.InitialSettings().simulate);
}

// ---- the status check ----

// With the check on, "*ESR?" follows every query and fails the call on an error bit (4, 8, 16
// or 32); with it off nothing is sent.
TEST_F(DriverOnDevice, StatusCheckFollowsTheErrorBits) {
  ScriptSingleUnit(*device);
  const std::pair<const char*, Lines> sessions[] = {
      {"", {"*IDN?", "*OPT?"}}, {"QueryInstrStatus=true", {"*IDN?", "*ESR?", "*OPT?", "*ESR?"}}};
  for (const auto& [options, opening] : sessions) {
    SCOPED_TRACE(options);
    device->OnQuery("*ESR?", "0\n");
    ASSERT_EQ(Open(options), S_OK);
    EXPECT_EQ(device->Written(), opening);
    const bool on = *options != 0;
    const std::pair<const char*, bool> cases[] = {
        {"0", false},  {"1", false}, {"2", false},  {"64", false},  {"128", false}, {"129", false},
        {"4", true},   {"8", true},  {"16", true},  {"32", true},   {"132", true},  {"+36", true}};
    for (const auto& [reply, error] : cases) {
      const bool fails = on && error;
      device->ClearWritten();
      device->OnQuery("*ESR?", std::string(reply) + "\n");
      EXPECT_EQ(driver.PollInstrumentStatus(), fails ? MakeHr(0x80047001u) : S_OK) << reply;
      EXPECT_EQ(device->Written(), on ? Lines{"*ESR?"} : Lines{}) << reply;
      if (fails) {
        EXPECT_EQ(LastError(), "VelmoraQdx: Instrument error detected.  Use ErrorQuery() to "
                               "determine error(s).\r\n");
      }
    }
    ASSERT_EQ(driver.Close(), S_OK);
    device->ClearWritten();
  }
}

TEST_F(DriverOnDevice, StatusCheckFailsOnIoErrorAndRecovers) {
  ScriptSingleUnit(*device);
  device->OnQuery("*ESR?", "0\n");
  ASSERT_EQ(Open("QueryInstrStatus=1"), S_OK);
  device->FailNextWrite("link down");
  EXPECT_EQ(driver.PollInstrumentStatus(), MakeHr(0x80047001u));
  EXPECT_EQ(LastError(), "VelmoraQdx: Instrument error detected.  Use ErrorQuery() to determine "
                         "error(s).\r\n");
  EXPECT_EQ(driver.PollInstrumentStatus(), S_OK);

  device->TimeOutNextRead();
  EXPECT_EQ(driver.PollInstrumentStatus(), MakeHr(0x80047001u));
  EXPECT_EQ(LastError(), "VelmoraQdx: Instrument error detected.  Use ErrorQuery() to determine "
                         "error(s).\r\n");
}

}  // namespace
}  // namespace veqdx::testing
