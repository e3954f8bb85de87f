// Initialize and Close, the inherent settings and the instrument status check.
#include <gtest/gtest.h>

#include "dcpwr/output_factory.h"
#include "driver_fixture.h"

namespace veqdx::testing {
namespace {

TEST(Session, InitializeCloseAndSecondInitialize) {
  CVelmoraQdx d{dcpwr::CreateOutput};
  EXPECT_EQ(d.Close(), E_IVI_NOT_INITIALIZED);  // never initialized
  EXPECT_EQ(LastError(),
            "VelmoraQdx: A connection to the instrument has not been established.\r\n");
  EXPECT_EQ(d.InvalidateAllAttributes(), E_IVI_NOT_INITIALIZED);
  EXPECT_EQ(d.Initialize(nullptr, VARIANT_FALSE, VARIANT_FALSE, "Simulate=1"), E_IVI_INVALID_VALUE);
  EXPECT_NE(LastError().find("method Initialize, parameter ResourceName"), std::string::npos);
  EXPECT_EQ(Get(d, &CDriver::get_Initialized), VARIANT_FALSE);

  ASSERT_EQ(OpenSimulated(d, "Simulate=1, Cache=0, QueryInstrStatus=1, RangeCheck=0, "
                             "DriverSetup=Model=QDX750L"),
            S_OK);
  EXPECT_EQ(d.Initialize("B", VARIANT_FALSE, VARIANT_FALSE,
                         "Simulate=1, RangeCheck=1, DriverSetup=Model=QDX1500H"),
            E_IVI_ALREADY_INITIALIZED);
  EXPECT_EQ(LastError(), "VelmoraQdx: The driver is already initialized.\r\n");
  EXPECT_EQ(Get(d, &CDriver::get_RangeCheck), VARIANT_FALSE);  // the first session is intact
  EXPECT_EQ(d.Model(), "QDX750L");
  EXPECT_EQ(Get(d, &CDriver::get_IoResourceDescriptor), "A");
  attr::CNode* output = d.FindChild("Output0");
  ASSERT_NE(output, nullptr);
  EXPECT_TRUE(output->GetSimulate());
  auto* rootEntry = d.GetCacheEntry<std::int16_t>("IVelmoraQdxStatusOperation.EnableRegister");
  auto* outputEntry = output->GetCacheEntry<double>("IVelmoraQdxOutput.VoltageLevel");
  rootEntry->Set(5);
  outputEntry->Set(12.5);
  ASSERT_EQ(d.InvalidateAllAttributes(), S_OK);
  EXPECT_FALSE(rootEntry->IsValid());
  EXPECT_FALSE(outputEntry->IsValid());

  ASSERT_EQ(d.Close(), S_OK);
  EXPECT_FALSE(output->IsInitialized());  // Close detaches the outputs
  EXPECT_FALSE(output->GetSimulate());
  EXPECT_EQ(d.Close(), E_IVI_NOT_INITIALIZED);
  ASSERT_EQ(OpenSimulated(d), S_OK);  // each session starts from the defaults
  EXPECT_EQ(Get(d, &CDriver::get_Cache), VARIANT_TRUE);
  EXPECT_EQ(Get(d, &CDriver::get_QueryInstrumentStatus), VARIANT_FALSE);
  EXPECT_EQ(Get(d, &CDriver::get_DriverSetup), "");
}

// The store's session gives the address and settings, the option string overrides them.
TEST(Session, ConfigStoreSessionThenOptionString) {
  class Store : public IConfigStore {
   public:
    ConfigStoreSession session;
    HRESULT FindDriverSession(std::string_view name, const CErrorReporter&,
                              ConfigStoreSession& out, bool& found) override {
      found = name == "MySupply";
      if (found) out = session;
      return S_OK;
    }
  };
  auto store = std::make_shared<Store>();
  store->session.hardwareResource = "TCPIP::10.9.9.9::INSTR";
  store->session.settings.simulate = true;
  store->session.settings.rangeCheck = false;
  store->session.driverSetup = "Model=QDX750L";
  CVelmoraQdx d{dcpwr::CreateOutput};
  d.SetConfigStore(store);
  ASSERT_EQ(d.Initialize("MySupply", VARIANT_FALSE, VARIANT_FALSE, "RangeCheck=1"), S_OK);
  EXPECT_EQ(Get(d, &CDriver::get_LogicalName), "MySupply");
  EXPECT_EQ(Get(d, &CDriver::get_IoResourceDescriptor), "TCPIP::10.9.9.9::INSTR");
  EXPECT_EQ(d.Model(), "QDX750L");
  EXPECT_TRUE(d.InitialSettings().simulate);
  EXPECT_TRUE(d.RangeCheck());
}

// A simulated session stays simulated; a real one can switch either way.
TEST_F(DriverOnDevice, SimulationSwitch) {
  CVelmoraQdx simulated{dcpwr::CreateOutput};
  ASSERT_EQ(veqdx::testing::OpenSimulated(simulated, "Simulate=true"), S_OK);
  EXPECT_EQ(simulated.put_Simulate(VARIANT_FALSE), E_IVI_SIMULATION_STATE_UNSUPPORTED);
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
  EXPECT_EQ(d.put_InterchangeCheck(VARIANT_TRUE), E_IVI_VALUE_NOT_SUPPORTED);  // text: tests/errors
  EXPECT_EQ(ThreadErrorRecord().interfaceName, "IIviDriverOperation");
  EXPECT_EQ(d.put_InterchangeCheck(VARIANT_FALSE), S_OK);
  for (const auto& [getter, name] :
       {std::pair{&CDriver::get_Cache, "get_Cache"}, {&CDriver::get_RangeCheck, "get_RangeCheck"},
        {&CDriver::get_Simulate, "get_Simulate"}}) {
    EXPECT_EQ((d.*getter)(nullptr), E_IVI_NULL_POINTER);
    EXPECT_EQ(LastError(), "VelmoraQdx: Null pointer passed for method " + std::string(name) +
                               ", parameter val.\r\n");
  }
  EXPECT_EQ(d.LockObject(), E_IVI_METHOD_NOT_SUPPORTED);
  EXPECT_EQ(LastError(), "VelmoraQdx: Does not support this class-compliant feature: method "
                         "LockObject.\r\n");
  EXPECT_EQ(ThreadErrorRecord().interfaceName, "IIviDriverUtility");
  EXPECT_EQ(d.UnlockObject(), E_IVI_METHOD_NOT_SUPPORTED);
}

// DriverSetup items reach the transport factory; a transport that cannot be made fails the
// open with the cause.
TEST_F(DriverOnDevice, TransportFactoryGetsTheItemsAndItsFailureIsReported) {
  io::TransportOptions seen;
  std::string seenResource;
  driver.SetTransportFactory([&](std::string_view resource, const io::TransportOptions& options,
                                 io::IoResult& r) -> std::unique_ptr<io::ITransport> {
    seen = options;
    seenResource = resource;
    if (options.Get("iobackend") == "none") {
      r = io::IoResult::Error("connect to 10.1.2.3:5025 refused");
      return nullptr;
    }
    return device->Connect();
  });
  ScriptSingleUnit(*device);
  ASSERT_EQ(Open("DriverSetup=IoBackend=Socket, BaudRate=9600"), S_OK);
  EXPECT_EQ(seenResource, "TCPIP::10.1.2.3::INSTR");
  EXPECT_EQ(seen.Get("baudrate"), "9600");
  EXPECT_EQ(driver.DriverSetupItem("IOBACKEND"), "Socket");
  EXPECT_EQ(driver.DriverSetupItems().size(), 2u);
  ASSERT_EQ(driver.Close(), S_OK);
  EXPECT_EQ(Open("DriverSetup=IoBackend=none"), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(), "VelmoraQdx: I/O error: Failed to open VISA resource..\r\n"
                         "Resource descriptor = TCPIP::10.1.2.3::INSTR. "
                         "Cause: connect to 10.1.2.3:5025 refused.");
  EXPECT_FALSE(driver.Initialized());
}

// With the check on, "*ESR?" follows every query and fails the call on an error bit (4, 8, 16
// or 32) or when it cannot be asked; with it off nothing is sent.
TEST_F(DriverOnDevice, StatusCheckFollowsTheErrorBits) {
  ScriptSingleUnit(*device);
  const char* const kDetected =
      "VelmoraQdx: Instrument error detected.  Use ErrorQuery() to determine error(s).\r\n";
  const std::pair<const char*, Lines> sessions[] = {
      {"", {"*IDN?", "*OPT?"}}, {"QueryInstrStatus=true", {"*IDN?", "*ESR?", "*OPT?", "*ESR?"}}};
  for (const auto& [options, opening] : sessions) {
    SCOPED_TRACE(options);
    device->OnQuery("*ESR?", "0\n");
    ASSERT_EQ(Open(options), S_OK);
    EXPECT_EQ(device->Written(), opening);
    const bool on = *options != 0;
    const std::pair<const char*, bool> cases[] = {
        {"0", false}, {"1", false}, {"2", false}, {"64", false}, {"128", false}, {"129", false},
        {"4", true},  {"8", true},  {"16", true}, {"32", true},  {"132", true},  {"+36", true}};
    for (const auto& [reply, error] : cases) {
      const bool fails = on && error;
      device->ClearWritten();
      device->OnQuery("*ESR?", std::string(reply) + "\n");
      EXPECT_EQ(driver.PollInstrumentStatus(), fails ? E_IVI_INSTRUMENT_STATUS : S_OK) << reply;
      EXPECT_EQ(device->Written(), on ? Lines{"*ESR?"} : Lines{}) << reply;
      if (fails) { EXPECT_EQ(LastError(), kDetected); }
    }
    ASSERT_EQ(driver.Close(), S_OK);
    device->ClearWritten();
  }
  device->OnQuery("*ESR?", "0\n");
  ASSERT_EQ(Open("QueryInstrStatus=1"), S_OK);
  device->FailNextWrite("link down");
  EXPECT_EQ(driver.PollInstrumentStatus(), E_IVI_INSTRUMENT_STATUS);
  EXPECT_EQ(LastError(), kDetected);
  EXPECT_EQ(driver.PollInstrumentStatus(), S_OK);
  device->TimeOutNextRead();
  EXPECT_EQ(driver.PollInstrumentStatus(), E_IVI_INSTRUMENT_STATUS);
}

}  // namespace
}  // namespace veqdx::testing
