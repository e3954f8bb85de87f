// Initialize and Close, the inherent settings and the instrument status check.
#include <gtest/gtest.h>

#include "driver_fixture.h"

namespace veqdx::testing {
namespace {

VARIANT_BOOL Get(CVelmoraQdx& d, HRESULT (CDriver::*getter)(VARIANT_BOOL*)) {
  VARIANT_BOOL v = 7;
  EXPECT_EQ((d.*getter)(&v), S_OK);
  return v;
}

TEST(Session, SimulatedInitializeAndClose) {
  CVelmoraQdx d;
  EXPECT_EQ(Get(d, &CDriver::get_Initialized), VARIANT_FALSE);
  ASSERT_EQ(d.Initialize("GPIB0::5::INSTR", VARIANT_FALSE, VARIANT_FALSE, "Simulate=true"), S_OK);
  EXPECT_EQ(Get(d, &CDriver::get_Initialized), VARIANT_TRUE);
  EXPECT_EQ(Get(d, &CDriver::get_Simulate), VARIANT_TRUE);
  EXPECT_EQ(d.Model(), "QDX750ML");
  std::string text;
  ASSERT_EQ(d.get_IoResourceDescriptor(&text), S_OK);
  EXPECT_EQ(text, "GPIB0::5::INSTR");
  ASSERT_EQ(d.get_LogicalName(&text), S_OK);
  EXPECT_EQ(text, "");

  ASSERT_EQ(d.Close(), S_OK);
  EXPECT_EQ(Get(d, &CDriver::get_Initialized), VARIANT_FALSE);
  EXPECT_EQ(d.Close(), MakeHr(0x8004701Du));
  EXPECT_EQ(LastError(), "VelmoraQdx: A connection to the instrument has not been established.");
}

TEST(Session, CloseWhenNeverInitialized) {
  CVelmoraQdx d;
  EXPECT_EQ(d.Close(), MakeHr(0x8004701Du));
}

TEST(Session, SecondInitializeLeavesFirstSessionIntact) {
  CVelmoraQdx d;
  ASSERT_EQ(d.Initialize("A", VARIANT_FALSE, VARIANT_FALSE,
                         "Simulate=1, RangeCheck=0, DriverSetup=Model=QDX750L"),
            S_OK);
  EXPECT_EQ(d.Initialize("B", VARIANT_FALSE, VARIANT_FALSE,
                         "Simulate=1, RangeCheck=1, DriverSetup=Model=QDX1500H"),
            MakeHr(0x80047061u));
  EXPECT_EQ(LastError(), "VelmoraQdx: The driver is already initialized.");
  EXPECT_EQ(Get(d, &CDriver::get_Initialized), VARIANT_TRUE);
  EXPECT_EQ(Get(d, &CDriver::get_RangeCheck), VARIANT_FALSE);
  EXPECT_EQ(d.Model(), "QDX750L");
  std::string text;
  ASSERT_EQ(d.get_IoResourceDescriptor(&text), S_OK);
  EXPECT_EQ(text, "A");
  EXPECT_EQ(d.OutputNames(), Lines{"Output0"});
}

TEST(Session, FailedInitializeLeavesObjectReusable) {
  CVelmoraQdx d;
  EXPECT_EQ(d.Initialize("A", VARIANT_FALSE, VARIANT_FALSE, "Simulate=yes"), MakeHr(0x8004704Cu));
  EXPECT_EQ(Get(d, &CDriver::get_Initialized), VARIANT_FALSE);
  EXPECT_EQ(d.Initialize(nullptr, VARIANT_FALSE, VARIANT_FALSE, "Simulate=1"),
            MakeHr(0x80047010u));
  EXPECT_NE(LastError().find("method Initialize, parameter ResourceName"), std::string::npos);
  ASSERT_EQ(d.Initialize("A", VARIANT_FALSE, VARIANT_FALSE, "Simulate=true"), S_OK);
  EXPECT_EQ(Get(d, &CDriver::get_Initialized), VARIANT_TRUE);
}

TEST(Session, InitializeStartsFromDefaultsEachTime) {
  CVelmoraQdx d;
  ASSERT_EQ(d.Initialize("A", VARIANT_FALSE, VARIANT_FALSE, "Simulate=1, Cache=0, QueryInstrStatus=1"),
            S_OK);
  ASSERT_EQ(d.Close(), S_OK);
  ASSERT_EQ(d.Initialize("A", VARIANT_FALSE, VARIANT_FALSE, "Simulate=1"), S_OK);
  EXPECT_EQ(Get(d, &CDriver::get_Cache), VARIANT_TRUE);
  EXPECT_EQ(Get(d, &CDriver::get_QueryInstrumentStatus), VARIANT_FALSE);
  EXPECT_EQ(Get(d, &CDriver::get_InterchangeCheck), VARIANT_FALSE);
  EXPECT_EQ(Get(d, &CDriver::get_RecordCoercions), VARIANT_FALSE);
  std::string setup = "x";
  ASSERT_EQ(d.get_DriverSetup(&setup), S_OK);
  EXPECT_EQ(setup, "");
}

TEST(Session, SimulationSwitchIsOneWay) {
  CVelmoraQdx simulated;
  ASSERT_EQ(simulated.Initialize("A", VARIANT_FALSE, VARIANT_FALSE, "Simulate=true"), S_OK);
  EXPECT_EQ(simulated.put_Simulate(VARIANT_FALSE), MakeHr(0x80047062u));
  EXPECT_EQ(LastError(), "VelmoraQdx: The simulation state cannot be changed.");
  EXPECT_TRUE(simulated.Simulate());
  EXPECT_EQ(simulated.put_Simulate(VARIANT_TRUE), S_OK);
}

TEST_F(DriverOnDevice, SimulationCanBeSwitchedOnInARealSession) {
  ScriptSingleUnit();
  ASSERT_EQ(Open(), S_OK);
  EXPECT_EQ(driver.put_Simulate(VARIANT_TRUE), S_OK);
  EXPECT_TRUE(driver.Simulate());
  EXPECT_EQ(driver.put_Simulate(VARIANT_FALSE), S_OK);
  EXPECT_FALSE(driver.Simulate());
}

TEST(Session, InterchangeCheckIsRefused) {
  CVelmoraQdx d;
  EXPECT_EQ(d.put_InterchangeCheck(VARIANT_TRUE), MakeHr(0x80047013u));
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Does not support this class-compliant feature: (enumeration) value "
            "VARIANT_TRUE passed as the value for parameter val in method put_InterchangeCheck.");
  EXPECT_EQ(ThreadErrorRecord().interfaceName, "IIviDriverOperation");
  EXPECT_EQ(d.put_InterchangeCheck(VARIANT_FALSE), S_OK);

  EXPECT_EQ(d.Initialize("A", VARIANT_FALSE, VARIANT_FALSE, "Simulate=1, InterchangeCheck=true"),
            MakeHr(0x8004704Cu));
  EXPECT_EQ(LastError(),
            "VelmoraQdx: The True value in the option string is unknown.\r\n"
            "Interchange checking is not supported by the driver.");
  EXPECT_EQ(Get(d, &CDriver::get_Initialized), VARIANT_FALSE);
}

TEST(Session, SettersStoreAndGettersCheckPointers) {
  CVelmoraQdx d;
  struct Flag {
    HRESULT (CDriver::*put)(VARIANT_BOOL);
    HRESULT (CDriver::*get)(VARIANT_BOOL*);
    const char* getterName;
  };
  const Flag flags[] = {
      {&CDriver::put_Cache, &CDriver::get_Cache, "get_Cache"},
      {&CDriver::put_QueryInstrumentStatus, &CDriver::get_QueryInstrumentStatus,
       "get_QueryInstrumentStatus"},
      {&CDriver::put_RangeCheck, &CDriver::get_RangeCheck, "get_RangeCheck"},
      {&CDriver::put_RecordCoercions, &CDriver::get_RecordCoercions, "get_RecordCoercions"},
      {&CDriver::put_Simulate, &CDriver::get_Simulate, "get_Simulate"},
  };
  for (const Flag& f : flags) {
    ASSERT_EQ((d.*f.put)(VARIANT_TRUE), S_OK) << f.getterName;
    EXPECT_EQ(Get(d, f.get), VARIANT_TRUE) << f.getterName;
    ASSERT_EQ((d.*f.put)(VARIANT_FALSE), S_OK) << f.getterName;
    EXPECT_EQ(Get(d, f.get), VARIANT_FALSE) << f.getterName;
    EXPECT_EQ((d.*f.get)(nullptr), MakeHr(0x80047058u));
    EXPECT_EQ(LastError(), "VelmoraQdx: Null pointer passed for method " +
                               std::string(f.getterName) + ", parameter val.");
  }
}

TEST(Session, LockObjectIsNotSupported) {
  CVelmoraQdx d;
  EXPECT_EQ(d.LockObject(), MakeHr(0x80047011u));
  EXPECT_EQ(LastError(), "VelmoraQdx: Does not support this class-compliant feature: method "
                         "LockObject.");
  EXPECT_EQ(ThreadErrorRecord().interfaceName, "IIviDriverUtility");
  EXPECT_EQ(d.UnlockObject(), MakeHr(0x80047011u));
  EXPECT_NE(LastError().find("method UnlockObject."), std::string::npos);
}

TEST(Session, InvalidateAllAttributesReachesEveryNode) {
  CVelmoraQdx d;
  EXPECT_EQ(d.InvalidateAllAttributes(), MakeHr(0x8004701Du));
  ASSERT_EQ(d.Initialize("A", VARIANT_FALSE, VARIANT_FALSE, "Simulate=1"), S_OK);
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

TEST(Session, CloseDetachesOutputs) {
  CVelmoraQdx d;
  ASSERT_EQ(d.Initialize("A", VARIANT_FALSE, VARIANT_FALSE, "Simulate=1"), S_OK);
  attr::CNode* output = d.FindChild("Output0");
  ASSERT_NE(output, nullptr);
  EXPECT_TRUE(output->IsInitialized());
  EXPECT_TRUE(output->GetSimulate());
  ASSERT_EQ(d.Close(), S_OK);
  EXPECT_FALSE(output->IsInitialized());
  EXPECT_FALSE(output->GetSimulate());
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
  ScriptSingleUnit();
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
  EXPECT_EQ(LastError(), "VelmoraQdx: I/O error: connect to 10.1.2.3:5025 refused.\r\n"
                         "Resource descriptor = TCPIP::10.1.2.3::INSTR.");
  EXPECT_FALSE(driver.Initialized());
}

TEST(Session, ConfigStoreSessionSuppliesTheAddress) {
  class Store : public IConfigStore {
   public:
    bool FindDriverSession(std::string_view name, ConfigStoreSession& out) override {
      if (name != "Bench3") return false;
      out.hardwareResource = "TCPIP::10.9.9.9::INSTR";
      out.settings.simulate = true;
      out.settings.rangeCheck = false;
      return true;
    }
  };
  CVelmoraQdx d;
  d.SetConfigStore(std::make_shared<Store>());
  ASSERT_EQ(d.Initialize("Bench3", VARIANT_FALSE, VARIANT_FALSE, "RangeCheck=1"), S_OK);
  std::string text;
  ASSERT_EQ(d.get_LogicalName(&text), S_OK);
  EXPECT_EQ(text, "Bench3");
  ASSERT_EQ(d.get_IoResourceDescriptor(&text), S_OK);
  EXPECT_EQ(text, "TCPIP::10.9.9.9::INSTR");
  EXPECT_TRUE(d.Simulate());
  EXPECT_TRUE(d.RangeCheck());
  EXPECT_TRUE(d.InitialSettings().simulate);
}

// ---- the status check ----

TEST_F(DriverOnDevice, StatusCheckFollowsTheErrorBits) {
  ScriptSingleUnit();
  device->OnQuery("*ESR?", "0\n");
  ASSERT_EQ(Open("QueryInstrStatus=true"), S_OK);
  struct Case {
    const char* reply;
    bool fails;
  };
  const Case cases[] = {{"0", false},  {"1", false},  {"2", false},  {"64", false},
                        {"128", false}, {"4", true},  {"8", true},   {"16", true},
                        {"32", true},  {"129", false}, {"132", true}, {"+36", true}};
  for (const Case& c : cases) {
    device->ClearWritten();
    device->OnQuery("*ESR?", std::string(c.reply) + "\n");
    const HRESULT hr = driver.PollInstrumentStatus();
    EXPECT_EQ(device->Written(), Lines{"*ESR?"}) << c.reply;
    if (c.fails) {
      EXPECT_EQ(hr, MakeHr(0x80047001u)) << c.reply;
      EXPECT_EQ(LastError(), "VelmoraQdx: Instrument error detected.  Use ErrorQuery() to "
                             "determine error(s).");
    } else {
      EXPECT_EQ(hr, S_OK) << c.reply;
    }
  }
}

TEST_F(DriverOnDevice, StatusCheckSendsNothingWhenOff) {
  ScriptSingleUnit();
  ASSERT_EQ(Open(), S_OK);
  EXPECT_EQ(device->Written(), (Lines{"*IDN?", "*OPT?"}));
  device->ClearWritten();
  device->OnQuery("*ESR?", "4\n");
  EXPECT_EQ(driver.PollInstrumentStatus(), S_OK);
  EXPECT_TRUE(device->Written().empty());
}

TEST_F(DriverOnDevice, StatusCheckAfterEveryQueryWhenOn) {
  ScriptSingleUnit();
  device->OnQuery("*ESR?", "0\n");
  ASSERT_EQ(Open("QueryInstrStatus=1"), S_OK);
  EXPECT_EQ(device->Written(), (Lines{"*IDN?", "*ESR?", "*OPT?", "*ESR?"}));
}

TEST_F(DriverOnDevice, StatusCheckFailsOnIoErrorAndRecovers) {
  ScriptSingleUnit();
  device->OnQuery("*ESR?", "0\n");
  ASSERT_EQ(Open("QueryInstrStatus=1"), S_OK);
  device->FailNextWrite("link down");
  EXPECT_EQ(driver.PollInstrumentStatus(), MakeHr(0x80047001u));
  EXPECT_NE(LastError().find("link down"), std::string::npos);
  EXPECT_EQ(driver.PollInstrumentStatus(), S_OK);

  device->TimeOutNextRead();
  EXPECT_EQ(driver.PollInstrumentStatus(), MakeHr(0x80047001u));
  EXPECT_NE(LastError().find("\r\nVelmoraQdx: I/O timeout error"), std::string::npos)
      << LastError();
}

}  // namespace
}  // namespace veqdx::testing
